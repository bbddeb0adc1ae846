// Objects by the clipboard, and copies beside what they are copies of.
import { UNIT, isShape } from "./shapes.js";
import { pictureIn } from "./pictures.js";

const KIND = "application/x-lumo-objects";
const BESIDE = 16 * UNIT;  // how far from what it is a copy of

const isField = (target) => target instanceof HTMLInputElement || target instanceof HTMLTextAreaElement;

export class Clipboard {
  #pasted = 0;  // how often what is on the clipboard was

  constructor(board) {
    this.board = board;
    const on = (name, then) => addEventListener(name, (event) => {
      const others = isField(event.target) || document.querySelector("dialog[open]");
      if (!others && then(event) !== false) event.preventDefault();
    });
    on("copy", (event) => this.#copy(event));
    on("cut", (event) => this.#copy(event) && board.removeChosen());
    on("paste", ({ clipboardData }) => this.#paste(clipboardData));
  }

  /** Shapes that the program can draw anew. A picture names the one whose bytes it is to have. */
  #shapes(objects) {
    return objects.map(({ id, tag, path, ...shape }) => (shape.type === "picture" ? { ...shape, like: id } : shape));
  }
  #chosen() {
    const chosen = this.board.view.selection;
    return this.board.model.sorted().filter((object) => object.type && chosen.has(object.id));
  }

  #copy({ clipboardData }) {
    const chosen = this.#chosen();
    if (chosen.length === 0 || !document.getSelection().isCollapsed) return false;
    clipboardData.setData(KIND, JSON.stringify({ board: this.board.people.you, shapes: this.#shapes(chosen) }));
    clipboardData.setData("text/plain", chosen.flatMap((object) => object.text ?? []).join("\n"));
    this.#pasted = 0;
    this.board.speak(`${chosen.length} copied`);
    return true;
  }

  #paste(data) {
    const objects = data.getData(KIND), text = data.getData("text/plain").replace(/\r\n?/g, "\n").trimEnd();
    const file = pictureIn(data);
    if (objects) this.#pasteObjects(objects);
    else if (file) this.board.addPicture(file);
    else if (text) this.board.writeInTheMiddle(text);
    else return false;
    return true;
  }

  /** Other pages may write what they like to the clipboard. */
  #pasteObjects(json) {
    let copied = {};
    try { copied = JSON.parse(json); } catch { /* not of this page */ }
    const shapes = (Array.isArray(copied.shapes) ? copied.shapes : []).filter(isShape);
    const fit = shapes.filter((shape) => shape.type !== "picture" || copied.board === this.board.people.you);
    if (fit.length < shapes.length) this.board.say("Pictures of another board cannot be pasted: open them as files.");
    if (fit.length > 0) this.#put(fit, BESIDE * ++this.#pasted);
  }

  duplicate() {
    const chosen = this.#chosen();
    if (chosen.length > 0) this.#put(this.#shapes(chosen), BESIDE);
  }

  #put(shapes, by) {
    const { view } = this.board, all = this.board.model.extent(shapes);
    let dx = by, dy = by;
    if (!view.isSeen({ type: "picture", box: all.map((n) => n + by) })) {
      const [x, y] = view.middle();
      [dx, dy] = [Math.round(x - (all[0] + all[2]) / 2), Math.round(y - (all[1] + all[3]) / 2)];
    }
    this.board.addAndChoose(shapes.map((shape) => ({ ...shape,
      box: shape.box.map((n, i) => n + (i % 2 ? dy : dx)), points: shape.points?.map((n, i) => n + (i % 2 ? dy : dx)) })));
  }
}
