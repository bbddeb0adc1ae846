// How each kind of object looks, on a canvas and as SVG, and where it can be grasped.
// Coordinates are sixteenths of a point, as in the records.
import { LIGHT } from "./colours.js";

export const UNIT = 16;
export const FONT = '"Helvetica Neue", Arial, sans-serif';
export const LINE_HEIGHT = 1.3;
export const MARKER_WIDTH = 4;  // so many times that of a pen
const MARKER_ALPHA = 0.4;

const CONTROLS = /[\x00-\x08\x0b\x0c\x0e-\x1f\ufffe\uffff]/g;  // what no XML may contain
const FIRST_PAUSE_MS = 500, LONGEST_PAUSE_MS = 60000;            // before a picture is asked for again

const pictures = new Map();  // by number: what the browser has loaded

/** Calls `then` once, when the picture has come. None for a picture that has no number yet. */
export function pictureOf(object, then) {
  const id = object.like ?? object.id;
  if (id === undefined) return null;
  let entry = pictures.get(id);
  if (!entry) {
    const load = () => { entry.image.src = `picture/${id}`; };
    entry = { image: new Image(), waiting: [], pause: FIRST_PAUSE_MS };
    pictures.set(id, entry);
    entry.image.onload = () => { for (const call of entry.waiting.splice(0)) call(); };
    entry.image.onerror = () => {
      setTimeout(() => pictures.get(id) === entry && load(), entry.pause);
      entry.pause = Math.min(2 * entry.pause, LONGEST_PAUSE_MS);
    };
    load();
  }
  if (!entry.image.complete && then) entry.waiting.push(then);
  return entry.image;
}

/** What has come need not come again when its object goes by another number. */
export function renamePicture(before, after) {
  const entry = pictures.get(before);
  if (entry?.image.complete && entry.image.naturalWidth > 0) pictures.set(after, entry);
}

export function forgetPictures(held) {
  for (const id of pictures.keys()) if (!held(id)) pictures.delete(id);
}

const KINDS = ["pen", "marker", "line", "arrow", "rectangle", "ellipse", "text", "picture"];
const areNumbers = (list) => Array.isArray(list) && list.length > 0 && list.every(Number.isInteger);
const isColour = (text) => /^#[0-9a-f]{6}$/.test(text);

/** Whether it can be drawn, wherever it comes from. */
export function isShape(one) {
  if (!KINDS.includes(one?.type) || !areNumbers(one.box) || one.box.length !== 4) return false;
  if (one.type === "picture") return Number.isInteger(one.like);
  const lines = one.type === "pen" || one.type === "marker";
  return isColour(one.colour) && Number.isInteger(one.width) && (one.fill === null || isColour(one.fill)) &&
    (lines ? areNumbers(one.points) && one.points.length % 2 === 0 : one.type !== "text" || typeof one.text === "string");
}

/** Left, top, right, bottom in order. */
export function frame([l, t, r, b]) {
  return [Math.min(l, r), Math.min(t, b), Math.max(l, r), Math.max(t, b)];
}

/** With everything that is drawn beside the lines. */
export function extent(object) {
  const [l, t, r, b] = frame(object.box);
  const more = object.type === "text" || object.type === "picture" ? 0
    : object.type === "arrow" ? headOf(object) + object.width : object.width;
  return [l - more, t - more, r + more, b + more];
}

const headOf = (object) => Math.max(object.width * 3.5, 10 * UNIT);

/** The middle of each pair of points lies on the curve, which makes a drawn line smooth. */
function strokeCommands(points) {
  const at = (i) => [points[2 * i], points[2 * i + 1]];
  const count = points.length / 2;
  const commands = [["M", ...at(0)]];
  // A line without a length has no ends to be rounded: a dot is one of the least length.
  if (points.every((n, i) => n === points[i % 2])) return [...commands, ["L", points[0] + 1, points[1]]];
  if (count < 3) return [...commands, ["L", ...at(count - 1)]];
  for (let i = 1; i < count - 1; i++) {
    const [x, y] = at(i), [nx, ny] = at(i + 1);
    commands.push(["Q", x, y, (x + nx) / 2, (y + ny) / 2]);
  }
  return [...commands, ["L", ...at(count - 1)]];
}

function arrowCommands(object) {
  const [x1, y1, x2, y2] = object.box;
  const length = Math.hypot(x2 - x1, y2 - y1) || 1;
  const head = Math.min(headOf(object), length * 0.6);
  const angle = Math.atan2(y2 - y1, x2 - x1);
  const wing = (turn) => [x2 - head * Math.cos(angle + turn), y2 - head * Math.sin(angle + turn)];
  return [["M", x1, y1], ["L", x2, y2], ["M", ...wing(0.5)], ["L", x2, y2], ["L", ...wing(-0.5)]];
}

function commandsOf(object) {
  const [l, t, r, b] = object.box;
  switch (object.type) {
    case "pen": case "marker": return strokeCommands(object.points);
    case "line": return [["M", l, t], ["L", r, b]];
    case "arrow": return arrowCommands(object);
    default: return [["M", l, t], ["L", r, t], ["L", r, b], ["L", l, b], ["Z"]];
  }
}

function pathOf(object) {
  if (object.path) return object.path;
  const path = new Path2D();
  if (object.type === "ellipse") {
    const [l, t, r, b] = frame(object.box);
    path.ellipse((l + r) / 2, (t + b) / 2, (r - l) / 2, (b - t) / 2, 0, 0, 2 * Math.PI);
  } else {
    for (const [letter, ...n] of commandsOf(object)) {
      if (letter === "M") path.moveTo(...n);
      else if (letter === "L") path.lineTo(...n);
      else if (letter === "Q") path.quadraticCurveTo(...n);
      else path.closePath();
    }
  }
  object.path = path;
  return path;
}

function drawText(context, object, look) {
  context.font = `${object.width}px ${FONT}`;
  context.textBaseline = "alphabetic";
  context.fillStyle = look.tone(object.colour);
  object.text.split("\n").forEach((line, i) => {
    context.fillText(line, object.box[0], object.box[1] + object.width * (i * LINE_HEIGHT + 1));
  });
}

function drawPicture(context, object, look, again) {
  const image = pictureOf(object, again);
  const [l, t, r, b] = frame(object.box);
  if (image?.complete && image.naturalWidth > 0) {
    context.drawImage(image, l, t, r - l, b - t);
  } else {
    context.fillStyle = look.missing;
    context.fillRect(l, t, r - l, b - t);
  }
}

/** On a context whose unit is that of the records. `again` is called when something has come that was missing. */
export function draw(context, object, look = LIGHT, again = undefined) {
  if (!object.type) return;
  if (object.type === "text") return drawText(context, object, look);
  if (object.type === "picture") return drawPicture(context, object, look, again);
  const path = pathOf(object);
  if (object.fill) {
    context.fillStyle = look.tone(object.fill);
    context.fill(path);
  }
  context.strokeStyle = look.tone(object.colour);
  context.lineWidth = object.width;
  context.lineCap = context.lineJoin = "round";
  context.globalAlpha = object.type === "marker" ? MARKER_ALPHA : 1;
  context.stroke(path);
  context.globalAlpha = 1;
}

const probe = document.createElement("canvas").getContext("2d");

/** Whether a point is on the object, give or take `reach`. */
export function hits(object, x, y, reach) {
  if (!object.type) return false;
  const [l, t, r, b] = extent(object);
  if (x < l - reach || x > r + reach || y < t - reach || y > b + reach) return false;
  if (object.type === "text" || object.type === "picture") return true;
  probe.lineWidth = object.width + 2 * reach;
  probe.lineCap = probe.lineJoin = "round";
  const path = pathOf(object);
  return probe.isPointInStroke(path, x, y) || (Boolean(object.fill) && probe.isPointInPath(path, x, y));
}

/** Where a text of this size lies that begins there. */
export function textBox([x, y], text, size) {
  probe.font = `${size}px ${FONT}`;
  const lines = text.split("\n");
  return [x, y, x + Math.ceil(Math.max(...lines.map((line) => probe.measureText(line).width))),
    y + Math.ceil(size * LINE_HEIGHT * lines.length)];
}

/** An SVG element of the object; `pictures` gives each picture's data URL. */
export function toSvg(object, dataUrls) {
  const make = (name, values) => {
    const element = document.createElementNS("http://www.w3.org/2000/svg", name);
    for (const [key, value] of Object.entries(values)) element.setAttribute(key, value);
    return element;
  };
  const [l, t, r, b] = frame(object.box);
  if (object.type === "picture")
    return make("image", { x: l, y: t, width: r - l, height: b - t, preserveAspectRatio: "none",
      href: dataUrls.get(object.id) ?? "" });
  if (object.type === "text") {
    const text = make("text", { fill: object.colour, "font-size": object.width, "font-family": FONT,
      "xml:space": "preserve" });
    object.text.replace(CONTROLS, "").split("\n").forEach((line, i) => {
      const span = make("tspan", { x: object.box[0], y: object.box[1] + object.width * (i * LINE_HEIGHT + 1) });
      span.textContent = line;
      text.append(span);
    });
    return text;
  }
  const look = { fill: object.fill ?? "none", stroke: object.colour, "stroke-width": object.width,
    "stroke-linecap": "round", "stroke-linejoin": "round" };
  if (object.type === "marker") look["stroke-opacity"] = MARKER_ALPHA;
  if (object.type === "ellipse")
    return make("ellipse", { cx: (l + r) / 2, cy: (t + b) / 2, rx: (r - l) / 2, ry: (b - t) / 2, ...look });
  return make("path", { d: commandsOf(object).map(([letter, ...n]) => letter + n.join(" ")).join(""), ...look });
}
