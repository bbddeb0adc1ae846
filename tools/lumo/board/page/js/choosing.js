// What the hand does with objects that are there: chooses, moves and pulls them.
import { UNIT, extent, frame } from "./shapes.js";

const REACH = { mouse: 9, pen: 14, touch: 20 };  // points of the screen within which a handle is grasped

export class Choosing {
  constructor(tools) {
    Object.assign(this, { tools, board: tools.board, view: tools.view, model: tools.model });
  }

  handleAt(event) { return this.view.handleAt(event.clientX, event.clientY, REACH[event.pointerType] ?? REACH.mouse); }

  hover(event) {
    this.view.overlay.dataset.over = (this.tools.tool === "select" && this.handleAt(event)?.name) || "";
  }

  begin(event) {
    const start = this.tools.at(event), before = this.view.selection, handle = this.handleAt(event);
    if (handle) return this.pulling(handle, start);
    const hit = this.tools.topmostAt(start);
    if (!hit) return this.framing(start, event.shiftKey ? [...before] : []);
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
        const [x, y] = this.tools.at(event);
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

  pulling(handle, start) {
    let shapes = null;
    return {
      move: (event) => {
        const [x, y] = this.tools.at(event);
        shapes = handle.pull(x - start[0], y - start[1], event.shiftKey);
        this.view.showChanged(shapes);
      },
      end: () => shapes && this.board.change(shapes),
      cancel: () => this.view.showChanged([]),
    };
  }

  /** Chooses what lies within the frame. */
  framing(start, kept) {
    this.board.choose(kept);
    const stop = () => { this.view.band = null; this.view.touch(); };
    return {
      move: (event) => {
        this.view.band = frame([...start, ...this.tools.at(event)]);
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
}
