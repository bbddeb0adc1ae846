// What fingers, pens and mice do on the board.
import { MARKER_WIDTH, UNIT, frame, hits } from "./shapes.js";
import { Choosing } from "./choosing.js";

const MOST_POINTS = 20000;
const NEAR = 6;  // points of the screen within which a thing is grasped
const ERASER = 8;
const ERASER_OF_A_PEN = 5;  // the button that its other end presses
const POINTER_EVERY_MS = 50;
const SHAPES = ["line", "arrow", "rectangle", "ellipse"];
const SIZE_BY_KEY = [80 * UNIT, 50 * UNIT];  // half of it

/** The browser reports at once what a fast hand has done since it last did. */
function eachOf(event) {
  const events = event.getCoalescedEvents?.() ?? [];
  return events.length > 0 ? events : [event];
}

/** `board` offers add, move, change, remove, point, choose, typing and style(); it keeps the view and the model. */
export class Tools {
  constructor(board) {
    this.board = board;
    this.view = board.view;
    this.model = board.model;
    this.tool = "pen";
    this.fingers = new Map();  // what touches the board: pointer number to [x, y]
    this.gesture = null;       // { move, end, cancel } of what is going on
    this.pointedAt = 0;
    this.choosing = new Choosing(this);
    const on = (name, handler) => this.view.overlay.addEventListener(name, handler, { passive: false });
    on("pointerdown", (event) => this.down(event));
    on("pointermove", (event) => this.move(event));
    on("pointerup", (event) => this.up(event));
    on("pointercancel", (event) => this.up(event, true));
    on("pointerleave", () => this.fingers.size === 0 && board.point(null));
    on("wheel", (event) => this.wheel(event));
    on("dblclick", (event) => this.editText(event));
    on("contextmenu", (event) => event.preventDefault());
    // A line drawn fast is no fling, which would swallow the tap on a button that follows.
    on("touchmove", (event) => event.cancelable && event.preventDefault());
  }

  down(event) {
    event.preventDefault();
    this.view.overlay.focus();
    this.board.closeAll();
    this.view.overlay.setPointerCapture(event.pointerId);
    this.fingers.set(event.pointerId, [event.clientX, event.clientY]);
    if (this.fingers.size > 1) return this.beginPinch();
    const hand = this.tool === "hand" || event.button === 1 || this.spaceHeld;
    if (event.button === ERASER_OF_A_PEN) return void (this.gesture = this.eraser(event));
    if (!hand && event.button !== 0) return;
    this.gesture = hand ? this.panning() : this[this.tool]?.(event) ?? this.drawing(event);
  }

  move(event) {
    const held = this.fingers.has(event.pointerId);
    if (held) this.fingers.set(event.pointerId, [event.clientX, event.clientY]);
    if (event.isPrimary) this.point(event);
    if (held) this.gesture?.move(event);
    else if (event.isPrimary) this.choosing.hover(event);
  }

  up(event, cancelled = false) {
    if (!this.fingers.delete(event.pointerId)) return;
    if (this.fingers.size > 0 && this.gesture?.fingers) return;
    const gesture = this.gesture;
    this.gesture = null;
    if (cancelled) gesture?.cancel?.();
    else gesture?.end?.(event);
  }

  point(event) {
    const now = performance.now();
    if (now - this.pointedAt < POINTER_EVERY_MS) return;
    this.pointedAt = now;
    this.board.point(this.view.toBoard(event.clientX, event.clientY));
  }

  wheel(event) {
    event.preventDefault();
    const lines = event.deltaMode === 1 ? 16 : 1;
    if (event.ctrlKey || event.metaKey)
      this.view.zoom(Math.exp(-event.deltaY * lines * 0.004), event.clientX, event.clientY);
    else this.view.pan(-event.deltaX * lines, -event.deltaY * lines);
  }

  panning() {
    let last = null;
    return { move: (event) => {
      if (last) this.view.pan(event.clientX - last[0], event.clientY - last[1]);
      last = [event.clientX, event.clientY];
    } };
  }

  /** Two fingers move and scale what is between them; what the first began is forgotten. */
  beginPinch() {
    this.gesture?.cancel?.();
    const between = () => {
      const [[x1, y1], [x2, y2]] = [...this.fingers.values()];
      return [(x1 + x2) / 2, (y1 + y2) / 2, Math.hypot(x2 - x1, y2 - y1) || 1];
    };
    let last = between();
    this.gesture = { fingers: true, move: () => {
      if (this.fingers.size < 2) return;
      const now = between();
      this.view.pan(now[0] - last[0], now[1] - last[1]);
      this.view.zoom(now[2] / last[2], now[0], now[1]);
      last = now;
    } };
  }

  at(event) { return this.view.toBoard(event.clientX, event.clientY); }

  /** All shapes that are drawn by dragging. */
  drawing(event) {
    const { colour, width, fill } = this.board.style();
    const [x, y] = this.at(event);
    const lines = this.tool === "pen" || this.tool === "marker";
    const filled = this.tool === "rectangle" || this.tool === "ellipse";
    const shape = { type: this.tool, colour, width: this.tool === "marker" ? width * MARKER_WIDTH : width, fill: filled ? fill : null,
      box: [x, y, x, y] };
    if (lines) shape.points = [x, y];
    this.view.draft = shape;
    this.view.touch();
    const drop = () => { this.view.draft = null; this.view.touch(); };
    return {
      move: (moved) => {
        if (lines) this.lengthen(shape, moved);
        else shape.box = this.stretch([x, y], this.at(moved), moved.shiftKey);
        shape.path = null;
        this.view.touch();
      },
      end: () => {
        drop();
        const [l, t, r, b] = frame(shape.box);
        if (!lines && r - l < 3 * UNIT && b - t < 3 * UNIT) return;
        if (filled) shape.box = [l, t, r, b];
        this.board.add(shape);
      },
      cancel: drop,
    };
  }

  lengthen(shape, event) {
    for (const one of eachOf(event)) {
      const [x, y] = this.at(one), { points, box } = shape;
      const near = Math.hypot(x - points.at(-2), y - points.at(-1)) < UNIT * 0.75 / this.view.scale;
      if (near || points.length >= 2 * MOST_POINTS) continue;
      points.push(x, y);
      shape.box = [Math.min(box[0], x), Math.min(box[1], y), Math.max(box[2], x), Math.max(box[3], y)];
    }
  }

  /** With Shift squares, circles, and lines at eighths of a turn. */
  stretch([x, y], [toX, toY], even) {
    let dx = toX - x, dy = toY - y;
    if (even && (this.tool === "line" || this.tool === "arrow")) {
      const turn = Math.round(Math.atan2(dy, dx) / (Math.PI / 4)) * (Math.PI / 4), length = Math.hypot(dx, dy);
      [dx, dy] = [Math.round(Math.cos(turn) * length), Math.round(Math.sin(turn) * length)];
    } else if (even) {
      const side = Math.max(Math.abs(dx), Math.abs(dy));
      [dx, dy] = [Math.sign(dx || 1) * side, Math.sign(dy || 1) * side];
    }
    return [x, y, x + dx, y + dy];
  }

  /** For those who draw without a pointer: a shape of a handy size, which is chosen then. */
  drawInTheMiddle() {
    const [x, y] = this.view.middle(), [w, h] = SIZE_BY_KEY;
    if (this.tool === "text") return this.board.typing.begin([x, y]);
    if (!SHAPES.includes(this.tool)) return;
    const { colour, width, fill } = this.board.style(), flat = this.tool === "line" || this.tool === "arrow";
    this.board.addAndChoose([{ type: this.tool, colour, width, fill: flat ? null : fill,
      box: flat ? [x - w, y, x + w, y] : [x - w, y - h, x + w, y + h] }]);
  }

  text(event) {
    event.preventDefault();
    const at = this.at(event), hit = this.topmostAt(at, 0);
    return { move() {}, end: () => (hit?.type === "text" ? this.board.edit(hit) : this.board.typing.begin(at)) };
  }

  picture() {
    return { move() {}, end: () => this.board.choosePicture() };
  }

  topmostAt([x, y], reach = NEAR) {
    const near = reach * UNIT / this.view.scale;
    return this.model.sorted().findLast((object) => !this.view.hidden.has(object.id) && hits(object, x, y, near));
  }

  select(event) { return this.choosing.begin(event); }

  /** Takes away all that it touches, once it is lifted. */
  eraser(event) {
    const touched = new Set(), reach = ERASER * UNIT / this.view.scale;
    let last = this.at(event);
    const wipe = ([x, y]) => {
      for (const object of this.model.sorted()) {
        if (this.view.hidden.has(object.id) || !hits(object, x, y, reach)) continue;
        touched.add(object.id);
        this.view.hidden.add(object.id);
      }
    };
    const along = (to) => {
      const steps = Math.max(1, Math.ceil(Math.hypot(to[0] - last[0], to[1] - last[1]) / reach));
      for (let i = 1; i <= steps; i++) wipe([0, 1].map((k) => last[k] + (to[k] - last[k]) * i / steps));
      last = to;
      this.view.change();
    };
    along(last);
    return {
      move: (moved) => { for (const one of eachOf(moved)) along(this.at(one)); },
      end: () => this.board.remove([...touched]),
      cancel: () => this.view.showAgain(touched),
    };
  }

  editText(event) {
    const hit = this.tool === "select" && this.topmostAt(this.at(event));
    if (hit && hit.type === "text") this.board.edit(hit);
  }
}
