// The keyboard.
import { UNIT } from "./shapes.js";
import { TOOLS } from "./panel.js";

const isTyping = (target) => target instanceof HTMLInputElement || target instanceof HTMLTextAreaElement;

export function bindKeys(board) {
  const chosen = () => [...board.view.selection];
  const nudge = (dx, dy) => (event) => {
    const far = (event.shiftKey ? 10 : 1) * UNIT;
    if (chosen().length > 0) board.move(chosen(), dx * far, dy * far);
    else board.view.pan(-dx * 40, -dy * 40);
  };
  const plain = {
    Delete: () => board.removeChosen(), Backspace: () => board.removeChosen(),
    ArrowLeft: nudge(-1, 0), ArrowRight: nudge(1, 0), ArrowUp: nudge(0, -1), ArrowDown: nudge(0, 1),
    Escape: () => { board.tools.gesture?.cancel?.(); board.tools.gesture = null; board.choose([]); board.closeAll(); },
    f: () => board.panel.toggleFill(), "+": () => board.view.zoom(1.25), "=": () => board.view.zoom(1.25),
    "-": () => board.view.zoom(0.8), 0: () => board.view.showAll(), "?": () => board.panel.showKeys(),
  };
  for (const [name, , key] of TOOLS) plain[key.toLowerCase()] = () => board.setTool(name);
  for (let i = 1; i <= 8; i++) plain[i] = () => board.panel.setColour(i - 1);
  const withControl = {
    z: (event) => (event.shiftKey ? board.redo() : board.undo()), y: () => board.redo(), a: () => board.chooseAll(),
    s: (event) => (event.shiftKey ? board.saveSvg() : board.savePng()),
  };

  addEventListener("keydown", (event) => {
    if (document.querySelector("dialog[open]")) return;
    if (isTyping(event.target)) {
      const done = event.key === "Escape" || (event.key === "Enter" && (event.ctrlKey || event.metaKey));
      if (done) board.finishTyping(event.key !== "Escape");
      return;
    }
    if (event.key === " ") {
      board.tools.spaceHeld = true;
      if (!(event.target instanceof HTMLButtonElement)) event.preventDefault();
      return;
    }
    const key = event.key.length === 1 ? event.key.toLowerCase() : event.key;
    const action = (event.ctrlKey || event.metaKey ? withControl : plain)[key];
    if (!action || event.altKey) return;
    event.preventDefault();
    action(event);
  });
  addEventListener("keyup", (event) => { if (event.key === " ") board.tools.spaceHeld = false; });
  addEventListener("blur", () => { board.tools.spaceHeld = false; });
}
