// The two canvases: the paper with the objects, and above it what changes all the time.
import { UNIT, draw, extent } from "./shapes.js";
import { inkOn, look, onLook } from "./colours.js";
import { Drafts } from "./drafts.js";
import { handlesOf } from "./handles.js";

const LEAST = 0.1, MOST = 8;
const POINTER_MS = 6000;  // so long a pointer that does not move is shown
const FADE_MS = 1000;     // the last of it
const MARGIN = 32;        // points of the screen around what is shown
const HANDLE_OUT = 8;
const SEEN_WITH_HANDLES = 1000;  // so many objects at most

export class View {
  constructor(model) {
    this.model = model;
    this.paper = document.getElementById("paper");
    this.overlay = document.getElementById("overlay");
    this.scale = 1;            // points of the screen for one of the board
    this.left = this.top = 0;  // what is at the corner, in points of the board
    this.drafts = new Drafts();
    this.shift = null;         // { ids, dx, dy, sent } while a selection is dragged, and until the program has moved it
    this.changed = new Map();  // shapes as they will be, by number, while a selection is pulled or recoloured
    this.hidden = new Set();   // what is not drawn: under the eraser, or while its text is edited
    this.selection = new Set();
    this.band = null;          // a rubber band, in units
    this.pointers = new Map(); // of the others: { x, y, at, name, colour }
    this.onZoom = () => {};
    this.dirty = { paper: true, overlay: true };
    new ResizeObserver(() => this.resize()).observe(this.overlay);
    onLook(() => this.change());
    this.resize();
    const turn = () => { this.paint(); requestAnimationFrame(turn); };
    requestAnimationFrame(turn);
  }

  resize() {
    this.ratio = window.devicePixelRatio || 1;
    for (const canvas of [this.paper, this.overlay]) {
      canvas.width = Math.round(window.innerWidth * this.ratio);
      canvas.height = Math.round(window.innerHeight * this.ratio);
    }
    this.change();
  }

  change() { this.dirty.paper = this.dirty.overlay = true; }
  touch() { this.dirty.overlay = true; }

  /** From the screen to units of the board. */
  toBoard(x, y) { return [Math.round((x / this.scale + this.left) * UNIT), Math.round((y / this.scale + this.top) * UNIT)]; }
  toScreen(x, y) { return [(x / UNIT - this.left) * this.scale, (y / UNIT - this.top) * this.scale]; }

  pan(dx, dy) {
    this.left -= dx / this.scale;
    this.top -= dy / this.scale;
    this.change();
  }

  /** What is at x, y of the screen stays there. */
  zoom(factor, x = window.innerWidth / 2, y = window.innerHeight / 2) {
    const scale = Math.min(MOST, Math.max(LEAST, this.scale * factor));
    this.left += x / this.scale - x / scale;
    this.top += y / this.scale - y / scale;
    this.scale = scale;
    this.change();
    this.onZoom(scale);
  }

  /** The part of the screen that nothing covers, in points of it. */
  free() {
    const [middle, notice] = ["middle", "notice"].map((id) => document.getElementById(id).getBoundingClientRect());
    const top = Math.max(middle.top, notice.bottom);
    return { left: middle.left, right: middle.right, top, bottom: middle.bottom, width: middle.width, height: middle.bottom - top };
  }
  middle() {
    const { left, right, top, bottom } = this.free();
    return this.toBoard((left + right) / 2, (top + bottom) / 2);
  }

  showAll() {
    const all = this.model.extent(), room = this.free(), margin = Math.min(MARGIN, room.width / 12, room.height / 12);
    const [l, t, r, b] = (all ?? [0, 0, 0, 0]).map((n) => n / UNIT);
    const fit = Math.min((room.width - 2 * margin) / Math.max(r - l, 1), (room.height - 2 * margin) / Math.max(b - t, 1));
    this.scale = all ? Math.min(1, Math.max(LEAST, fit)) : 1;
    this.left = all ? (l + r) / 2 - (room.left + room.right) / 2 / this.scale : 0;
    this.top = all ? (t + b) / 2 - (room.top + room.bottom) / 2 / this.scale : 0;
    this.change();
    this.onZoom(this.scale);
  }

  /** Moves the view only when it does not show all of it. */
  reveal([l, t, r, b]) {
    const [x1, y1] = this.toScreen(l, t), [x2, y2] = this.toScreen(r, b), room = this.free();
    const into = (from, to, first, last) => {
      if (from >= first && to <= last) return 0;
      return to - from > last - first ? first - from : (first + last - from - to) / 2;
    };
    this.pan(into(x1, x2, room.left, room.right), into(y1, y2, room.top, room.bottom));
  }

  /** What was hidden is drawn again, unless it has gone. */
  showAgain(ids) {
    for (const id of ids) this.hidden.delete(id);
    this.change();
  }

  /** Shown instead of the objects with their numbers, until these go or are said to stay as they are. */
  showChanged(shapes) {
    this.changed = new Map(shapes.map((shape) => [shape.id, shape]));
    this.change();
  }
  chosen() {
    return [...this.selection].map((id) => this.model.get(id)).filter((object) => object?.type && !this.hidden.has(object.id));
  }
  /** With the place of each on the screen, a little outside, so that small things can be grasped between them. */
  handles() {
    if (this.selection.size > SEEN_WITH_HANDLES) return [];
    return handlesOf(this.chosen().map((one) => this.changed.get(one.id) ?? one)).map((handle) => {
      const [x, y] = this.toScreen(...handle.at);
      return { ...handle, x: x + HANDLE_OUT * handle.out[0], y: y + HANDLE_OUT * handle.out[1] };
    });
  }
  /** The one that is grasped there. */
  handleAt(x, y, reach) {
    return this.handles().map((handle) => ({ handle, far: Math.hypot(handle.x - x, handle.y - y) }))
      .filter(({ far }) => far <= reach).sort((a, b) => a.far - b.far)[0]?.handle;
  }

  inUnits(context) {
    const k = this.ratio * this.scale / UNIT;
    context.setTransform(k, 0, 0, k, -this.left * this.ratio * this.scale, -this.top * this.ratio * this.scale);
  }

  isSeen(object) {
    const [l, t, r, b] = extent(object);
    const [x1, y1] = this.toBoard(0, 0), [x2, y2] = this.toBoard(window.innerWidth, window.innerHeight);
    return r >= x1 && l <= x2 && b >= y1 && t <= y2;
  }

  /** Draws what lies above everything, without the rest. */
  drawOnTop(objects) {
    if (this.dirty.paper || this.drafts.size > 0) return this.change();
    const context = this.paper.getContext("2d");
    this.inUnits(context);
    for (const object of objects) this.drawOne(context, object);
  }

  drawOne(context, held) {
    if (!held.type || this.hidden.has(held.id)) return;
    const moved = this.shift?.ids.has(held.id), object = this.changed.get(held.id) ?? held;
    if (moved) context.translate(this.shift.dx, this.shift.dy);
    if (moved || this.isSeen(object)) draw(context, object, look(), () => this.change());
    if (moved) context.translate(-this.shift.dx, -this.shift.dy);
  }

  paint() {
    if (this.dirty.paper) this.paintPaper();
    if (this.dirty.overlay || this.isFading()) this.paintOverlay();
    this.dirty = { paper: false, overlay: false };
  }

  isFading() {
    const since = performance.now() - POINTER_MS + FADE_MS;
    return [...this.pointers.values()].some((pointer) => pointer.at < since);
  }

  paintPaper() {
    const context = this.paper.getContext("2d");
    context.setTransform(1, 0, 0, 1, 0, 0);
    context.fillStyle = look().paper;
    context.fillRect(0, 0, this.paper.width, this.paper.height);
    this.paintDots(context);
    this.inUnits(context);
    for (const object of this.model.sorted()) this.drawOne(context, object);
    for (const draft of this.drafts) this.drawOne(context, draft);
  }

  paintDots(context) {
    const step = 24 * this.scale * (this.scale < 0.5 ? 4 : 1);
    const first = (from) => ((-from * this.scale) % step + step) % step;
    context.setTransform(this.ratio, 0, 0, this.ratio, 0, 0);
    context.fillStyle = look().dot;
    for (let x = first(this.left); x < window.innerWidth; x += step)
      for (let y = first(this.top); y < window.innerHeight; y += step) context.fillRect(x - 0.75, y - 0.75, 1.5, 1.5);
  }

  paintOverlay() {
    const context = this.overlay.getContext("2d");
    context.setTransform(1, 0, 0, 1, 0, 0);
    context.clearRect(0, 0, this.overlay.width, this.overlay.height);
    this.inUnits(context);
    if (this.draft) draw(context, this.draft, look());
    context.setTransform(this.ratio, 0, 0, this.ratio, 0, 0);
    this.paintSelection(context);
    this.paintPointers(context);
  }

  paintSelection(context) {
    context.strokeStyle = look().accent;
    context.lineWidth = 1.5;
    const outline = ([l, t, r, b], more, dx = 0, dy = 0) => {
      const [x1, y1] = this.toScreen(l + dx, t + dy), [x2, y2] = this.toScreen(r + dx, b + dy);
      context.beginPath();
      context.roundRect(x1 - more, y1 - more, x2 - x1 + 2 * more, y2 - y1 + 2 * more, 4);
    };
    for (const object of this.chosen()) {
      outline(extent(this.changed.get(object.id) ?? object), 4, this.shift?.dx, this.shift?.dy);
      context.stroke();
    }
    if (!this.shift) this.paintHandles(context);
    if (!this.band) return;
    outline(this.band, 0);
    context.fillStyle = `${look().accent}22`;
    context.fill();
    context.stroke();
  }

  paintHandles(context) {
    context.fillStyle = look().paper;
    for (const { x, y } of this.handles()) {
      context.beginPath();
      context.roundRect(x - 5, y - 5, 10, 10, 3);
      context.fill();
      context.stroke();
    }
  }

  paintPointers(context) {
    const now = performance.now();
    for (const [id, pointer] of this.pointers) {
      const age = now - pointer.at;
      if (age > POINTER_MS) { this.pointers.delete(id); continue; }
      const [x, y] = this.toScreen(pointer.x, pointer.y);
      context.globalAlpha = Math.min(1, (POINTER_MS - age) / FADE_MS);
      context.fillStyle = pointer.colour;
      context.strokeStyle = inkOn(pointer.colour);
      context.lineWidth = 1.5;
      context.beginPath();
      for (const [dx, dy] of [[0, 0], [12, 8.5], [6.5, 10], [3.5, 15]]) context.lineTo(x + dx, y + dy);
      context.closePath();
      context.fill();
      context.stroke();
      context.font = "600 12px system-ui, sans-serif";
      const width = context.measureText(pointer.name).width;
      context.beginPath();
      context.roundRect(x + 12, y + 14, width + 14, 21, 10);
      context.fill();
      context.fillStyle = inkOn(pointer.colour);
      context.textBaseline = "middle";
      context.fillText(pointer.name, x + 19, y + 25);
      context.globalAlpha = 1;
    }
  }
}
