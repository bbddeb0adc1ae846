// The keyboard.
import { UNIT } from "./shapes.js";
import { TOOLS } from "./panel.js";
import { sizeOf } from "./speech.js";

const isTyping = (target) => target instanceof HTMLInputElement || target instanceof HTMLTextAreaElement;
const ARROWS = { ArrowLeft: [-1, 0], ArrowRight: [1, 0], ArrowUp: [0, -1], ArrowDown: [0, 1] };
const SIGNS = { Minus: "-", Equal: "=", Slash: "?" };

/**
 * What a key stands for: what is written on it; where that is no Latin letter, also what stands at its place on a keyboard
 * that has them.
 */
function namesOf({ key, code, shiftKey }) {
  if (key.length > 1) return [key];
  const name = key.toLowerCase(), [, letter, digit] = code.match(/^Key([A-Z])$|^Digit([0-9])$/) ?? [];
  if (/^[a-z]$/.test(name)) return [name];
  return [name, letter?.toLowerCase() ?? (shiftKey ? undefined : digit) ?? SIGNS[code]];
}

/** Pulls the lower right handle of what is chosen, until Control is let go. */
class KeyPull {
  constructor(board) { this.board = board; }

  by(dx, dy) {
    this.handle ??= this.board.view.handles().at(-1);
    if (!this.handle) return;
    [this.dx, this.dy] = [(this.dx ?? 0) + dx, (this.dy ?? 0) + dy];
    this.shapes = this.handle.pull(this.dx, this.dy, false);
    this.board.view.showChanged(this.shapes);
  }

  end() {
    const { shapes } = this;
    this.handle = this.shapes = this.dx = this.dy = undefined;
    if (!shapes) return;
    this.board.change(shapes);
    this.board.speak(shapes.length === 1 ? sizeOf(shapes[0]) : `${shapes.length} resized`);
  }
}

export function bindKeys(board) {
  const pull = new KeyPull(board);
  const chosen = () => [...board.view.selection];
  const far = (event, key) => ARROWS[key].map((n) => n * (event.shiftKey ? 10 : 1) * UNIT);
  const plain = {
    Delete: () => board.removeChosen(), Backspace: () => board.removeChosen(), F2: () => board.editChosen(),
    Escape: () => { board.tools.gesture?.cancel?.(); board.tools.gesture = null; board.closeAll(); board.choose([]); },
    f: () => board.panel.toggleFill(), "+": () => board.view.zoom(1.25), "=": () => board.view.zoom(1.25),
    "-": () => board.view.zoom(0.8), 0: () => board.view.showAll(), "?": () => board.panel.showKeys(),
    n: (event) => board.chooseNext(event.shiftKey ? -1 : 1),
    Enter: () => board.editChosen() || board.tools.drawInTheMiddle(),
  };
  for (const [name, words, key] of TOOLS) plain[key.toLowerCase()] = () => { board.setTool(name); board.speak(words); };
  for (let i = 1; i <= 8; i++) plain[i] = () => board.panel.setColour(i - 1);
  const withControl = {
    z: (event) => (event.shiftKey ? board.redo() : board.undo()), y: () => board.redo(), a: () => board.chooseAll(),
    s: (event) => (event.shiftKey ? board.saveSvg() : board.savePng()), d: () => board.clipboard.duplicate(),
  };
  for (const key of Object.keys(ARROWS)) {
    plain[key] = (event) => {
      if (chosen().length > 0) board.move(chosen(), ...far(event, key));
      else board.view.pan(...ARROWS[key].map((n) => -40 * n));
    };
    withControl[key] = (event) => pull.by(...far(event, key));
  }

  addEventListener("keydown", (event) => {
    // An input method is at work on the key, or a menu has taken it.
    if (event.isComposing || event.defaultPrevented || document.querySelector("dialog[open]")) return;
    if (isTyping(event.target)) {
      if (event.key !== "Escape" && !(event.key === "Enter" && (event.ctrlKey || event.metaKey))) return;
      event.preventDefault();
      if (board.typing.finish()) board.view.overlay.focus();
      return;
    }
    const onButton = event.target instanceof HTMLButtonElement;
    if (event.key === " ") {
      board.tools.spaceHeld = true;
      if (!onButton) event.preventDefault();
      return;
    }
    if ((onButton && event.key === "Enter") || event.altKey || event.target.closest?.(".menu")) return;
    const actions = event.ctrlKey || event.metaKey ? withControl : plain;
    const action = namesOf(event).map((name) => actions[name]).find(Boolean);
    if (!action) return;
    event.preventDefault();
    action(event);
  });
  // The board shows that it has the focus to those who go there by keys, and not around each stroke of the others.
  addEventListener("keydown", (event) => { if (event.key === "Tab") delete document.body.dataset.pointer; });
  addEventListener("pointerdown", () => { document.body.dataset.pointer = ""; }, true);
  const letGo = () => { board.tools.spaceHeld = false; pull.end(); };
  addEventListener("keyup", (event) => {
    if (event.key === " ") board.tools.spaceHeld = false;
    if (event.key === "Control" || event.key === "Meta") pull.end();
  });
  addEventListener("blur", letGo);
}
