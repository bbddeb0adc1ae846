// The board as a file.
import { UNIT, draw, pictureOf, toSvg } from "./shapes.js";

const MARGIN = 24 * UNIT;
const MOST = 8192;  // points of a PNG's side

function frameOf(model) {
  const [l, t, r, b] = model.extent() ?? [0, 0, 100 * UNIT, 100 * UNIT];
  return [l - MARGIN, t - MARGIN, r - l + 2 * MARGIN, b - t + 2 * MARGIN];
}

async function pictures(model) {
  const images = model.sorted().filter((object) => object.type === "picture");
  await Promise.all(images.map((object) => pictureOf(object).decode().catch(() => {})));
  return images;
}

/** Depends on the objects alone, not on what part of them the page shows. */
export async function canvasOf(model, scale = 2) {
  await pictures(model);
  const [x, y, width, height] = frameOf(model);
  const k = Math.min(scale, MOST * UNIT / Math.max(width, height)) / UNIT;
  const canvas = document.createElement("canvas");
  canvas.width = Math.max(1, Math.round(width * k));
  canvas.height = Math.max(1, Math.round(height * k));
  const context = canvas.getContext("2d");
  context.fillStyle = "#fff";
  context.fillRect(0, 0, canvas.width, canvas.height);
  context.setTransform(k, 0, 0, k, -x * k, -y * k);
  for (const object of model.sorted()) draw(context, object);
  return canvas;
}

async function dataUrlOf(object) {
  const answer = await fetch(`picture/${object.id}`);
  if (!answer.ok) throw new Error("Not saved: a picture cannot be read.");
  const blob = await answer.blob();
  return new Promise((done, fail) => {
    const reader = new FileReader();
    reader.onload = () => done(reader.result);
    reader.onerror = () => fail(reader.error);
    reader.readAsDataURL(blob);
  });
}

export async function svgOf(model) {
  const urls = new Map();
  for (const object of await pictures(model)) urls.set(object.id, await dataUrlOf(object));
  const [x, y, width, height] = frameOf(model);
  const svg = document.createElementNS("http://www.w3.org/2000/svg", "svg");
  svg.setAttribute("viewBox", `${x} ${y} ${width} ${height}`);
  svg.setAttribute("width", width / UNIT);
  svg.setAttribute("height", height / UNIT);
  for (const object of model.sorted()) if (object.type) svg.append(toSvg(object, urls));
  return new XMLSerializer().serializeToString(svg);
}

export function save(blob, name) {
  const link = document.createElement("a");
  link.href = URL.createObjectURL(blob);
  link.download = name;
  link.click();
  setTimeout(() => URL.revokeObjectURL(link.href), 10000);
}
