// The handles of a selection, and what pulling them makes of it.
import { UNIT, frame, textBox } from "./shapes.js";

const LEAST = 4 * UNIT;  // of a side
const MOST_SIZE = 4096, LEAST_SIZE = 6 * UNIT;  // of letters

const keepsItsSides = (object) => object.type === "text" || object.type === "picture";

/** The shape as it is when `x` and `y` carry its coordinates; letters grow by `size`. */
function carried(object, x, y, size) {
  const [l, t, r, b] = object.box;
  const shape = { ...object, path: null, box: [x(l), y(t), x(r), y(b)] };
  shape.points = object.points?.map((n, i) => (i % 2 ? y : x)(n));
  if (object.type !== "text") return shape;
  shape.width = Math.round(Math.min(MOST_SIZE, Math.max(Math.min(LEAST_SIZE, object.width), object.width * size)));
  shape.box = textBox([x(Math.min(l, r)), y(Math.min(t, b))], object.text, shape.width);
  return shape;
}

/** What remains of a side's scale, so that nothing vanishes or turns over. */
const scaleOf = (side, more) => (side === 0 ? 1 : Math.max(1 + more / side, Math.min(1, LEAST / side)));

/** The objects when the handle at `hx`, `hy` (0 to 1 of the box) is pulled so far; what is opposite stays. */
function pulled(objects, [l, t, r, b], hx, hy, dx, dy, even) {
  const w = r - l, h = b - t, right = hx === 0 ? -dx : dx, down = hy === 0 ? -dy : dy;
  let kx = hx === 0.5 ? 1 : scaleOf(w, right), ky = hy === 0.5 ? 1 : scaleOf(h, down);
  if (even && hx === 0.5) kx = ky;
  else if (even && hy === 0.5) ky = kx;
  else if (even) kx = ky = Math.max(1 + (right * w + down * h) / (w * w + h * h), Math.min(1, LEAST / Math.max(w, h)));
  const fixed = (from, length, at) => from + (1 - at) * length;
  const x = (n) => Math.round(fixed(l, w, hx) + (n - fixed(l, w, hx)) * kx);
  const y = (n) => Math.round(fixed(t, h, hy) + (n - fixed(t, h, hy)) * ky);
  return objects.map((object) => carried(object, x, y, ky));
}

/** What encloses the lines of all, without their widths. */
export function boxOf(objects) {
  const frames = objects.map((object) => frame(object.box));
  return [0, 1, 2, 3].map((i) => frames.reduce((n, one) => (i < 2 ? Math.min : Math.max)(n, one[i]), i < 2 ? Infinity : -Infinity));
}

/** Each with its place, which way is out there, and what it makes of the objects when it is pulled by dx, dy. */
export function handlesOf(objects) {
  if (objects.length === 0) return [];
  const [only] = objects;
  if (objects.length === 1 && (only.type === "line" || only.type === "arrow")) {
    return [[0, 1], [2, 3]].map(([i, k]) => ({ at: [only.box[i], only.box[k]], out: [0, 0], name: "end", pull: (dx, dy) => {
      const box = [...only.box];
      box[i] += dx;
      box[k] += dy;
      return [{ ...only, path: null, box }];
    } }));
  }
  const box = boxOf(objects), [l, t, r, b] = box, even = objects.some(keepsItsSides), handles = [];
  for (const hx of r > l ? [0, 0.5, 1] : [0.5]) {
    for (const hy of b > t ? [0, 0.5, 1] : [0.5]) {
      const edge = hx === 0.5 || hy === 0.5;
      if ((hx === 0.5 && hy === 0.5) || (even && edge && r > l && b > t)) continue;
      handles.push({ at: [l + hx * (r - l), t + hy * (b - t)], out: [2 * hx - 1, 2 * hy - 1], name: nameOf(hx, hy),
        pull: (dx, dy, evenly) => pulled(objects, box, hx, hy, dx, dy, even || evenly) });
    }
  }
  return handles;
}

const nameOf = (hx, hy) => (hx === 0.5 ? "ns" : hy === 0.5 ? "ew" : hx === hy ? "nwse" : "nesw");
