// What fingers, pens and mice do on the board.
import { UNIT, extent, frame, hits, measure } from "./shapes.js";

const MOST_POINTS = 20000;
const NEAR = 6;  // points of the screen within which a thing is grasped
const POINTER_EVERY_MS = 50;

/** `board` offers add, move, remove, point, choose, typeAt and style(); it keeps the view and the model. */
export class Tools {
  constructor(board) {
    this.board = board;
    this.view = board.view;
    this.model = board.model;
    this.tool = "pen";
    this.fingers = new Map();  // what touches the board: pointer number to [x, y]
    this.gesture = null;       // { move, end, cancel } of what is going on
    this.pointedAt = 0;
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
    if (!hand && event.button !== 0) return;
    this.gesture = hand ? this.panning() : this[this.tool]?.(event) ?? this.drawing(event);
  }

  move(event) {
    const held = this.fingers.has(event.pointerId);
    if (held) this.fingers.set(event.pointerId, [event.clientX, event.clientY]);
    if (event.isPrimary) this.point(event);
    if (held) this.gesture?.move(event);
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
    const shape = { type: this.tool, colour, width: this.tool === "marker" ? width * 4 : width, fill: filled ? fill : null,
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
    const events = event.getCoalescedEvents?.() ?? [];
    for (const one of events.length > 0 ? events : [event]) {
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

  text(event) {
    event.preventDefault();
    const at = this.at(event);
    return { move() {}, end: () => this.board.typeAt(at) };
  }

  picture() {
    return { move() {}, end: () => this.board.choosePicture() };
  }

  topmostAt([x, y]) {
    const reach = NEAR * UNIT / this.view.scale;
    return this.model.sorted().findLast((object) => hits(object, x, y, reach));
  }

  select(event) {
    const start = this.at(event), before = this.view.selection;
    const hit = this.topmostAt(start);
    if (!hit) return this.banding(start, event.shiftKey ? [...before] : []);
    const chosen = new Set(event.shiftKey || before.has(hit.id) ? before : []);
    if (event.shiftKey && before.has(hit.id)) chosen.delete(hit.id);
    else chosen.add(hit.id);
    this.board.choose([...chosen]);
    return this.dragging(start);
  }

  dragging(start) {
    let shift = null;
    const stop = () => {
      if (this.view.shift === shift) this.view.shift = null;  // the next drag may have begun
      this.view.change();
    };
    return {
      move: (event) => {
        const [x, y] = this.at(event);
        shift = { ids: new Set(this.view.selection), dx: x - start[0], dy: y - start[1], sent: false };
        this.view.shift = shift;
        this.view.change();
      },
      end: () => {
        if (!shift) return;
        const few = Math.hypot(shift.dx, shift.dy) * this.view.scale < 2 * UNIT;
        if (few || shift.ids.size === 0) return stop();
        shift.sent = true;
        this.board.move([...shift.ids], shift.dx, shift.dy).finally(stop);
      },
      cancel: stop,
    };
  }

  banding(start, kept) {
    this.board.choose(kept);
    const stop = () => { this.view.band = null; this.view.touch(); };
    return {
      move: (event) => {
        this.view.band = frame([...start, ...this.at(event)]);
        const [l, t, r, b] = this.view.band;
        const inside = this.model.sorted().filter((object) => {
          if (!object.type) return false;
          const [x1, y1, x2, y2] = extent(object);
          return x1 >= l && y1 >= t && x2 <= r && y2 <= b;
        });
        this.board.choose([...new Set([...kept, ...inside.map((object) => object.id)])]);
      },
      end: stop,
      cancel: stop,
    };
  }

  editText(event) {
    const hit = this.tool === "select" && this.topmostAt(this.at(event));
    if (hit && hit.type === "text") this.board.typeAt([hit.box[0], hit.box[1]], hit);
  }
}

export const textBox = ([x, y], text, size) => {
  const [width, height] = measure(text, size);
  return [x, y, x + width, y + height];
};
