// Pictures from files, the clipboard and other windows. Each is drawn anew, which leaves out what else a file may tell.

const MOST_BYTES = 1024 * 1024 - 64;
const MOST_SIDE = 1600;

const encode = (canvas, type, quality) => new Promise((done) => canvas.toBlob(done, type, quality));

/** A blob that the program takes, and its size in points; null when the browser cannot read the file. */
export async function prepare(file) {
  const bitmap = await createImageBitmap(file).catch(() => null);
  if (!bitmap) return null;
  let shrink = Math.min(1, MOST_SIDE / Math.max(bitmap.width, bitmap.height));
  for (let attempt = 0; attempt < 6; attempt++, shrink *= 0.7) {
    const canvas = document.createElement("canvas");
    canvas.width = Math.max(1, Math.round(bitmap.width * shrink));
    canvas.height = Math.max(1, Math.round(bitmap.height * shrink));
    const context = canvas.getContext("2d");
    context.drawImage(bitmap, 0, 0, canvas.width, canvas.height);
    let blob = file.type === "image/jpeg" ? null : await encode(canvas, "image/png");
    if (!blob || blob.size > MOST_BYTES) {
      context.globalCompositeOperation = "destination-over";  // JPEG knows no transparency
      context.fillStyle = "#fff";
      context.fillRect(0, 0, canvas.width, canvas.height);
      blob = await encode(canvas, "image/jpeg", 0.85);
    }
    if (blob && blob.size <= MOST_BYTES) return { blob, width: canvas.width, height: canvas.height };
  }
  return null;
}

export const pictureIn = (transfer) => [...(transfer?.files ?? [])].find((file) => file.type.startsWith("image/"));
