// Objects that stay what they are and look different. One change at a time: what is changed goes by new numbers.
import { act, portions } from "./net.js";

const CHANGEABLE = ["box", "width", "colour", "fill"];

export class Changes {
  #last = Promise.resolve();
  #leaving = null;  // the numbers of before, and who waits for their end

  constructor(board) {
    Object.assign(this, { board, view: board.view, model: board.model });
  }

  /** `shapesOf` gives the objects as they are to be, for now and again when those before have got their new numbers. */
  make(shapesOf) {
    this.view.showChanged(shapesOf());
    this.#last = this.#last.then(async () => {
      for (const portion of portions(shapesOf().filter((shape) => this.model.has(shape.id)))) await this.#ask(portion);
    });
    return this.#last;
  }

  async #ask(shapes) {
    const asked = shapes.map((shape) => this.#difference(shape)).filter((change) => Object.keys(change).length > 1);
    const answer = asked.length > 0 ? await this.board.tell(act({ do: "change", objects: asked })) : [[]];
    const taken = asked.filter((_, i) => answer?.[0]?.[i]).map((change) => change.id);
    if (answer && taken.length < asked.length) this.board.say("Not changed: others may have changed it.");
    for (const { id } of shapes) if (!taken.includes(id)) this.view.changed.delete(id);
    this.view.change();
    await new Promise((done) => {
      this.#leaving = { ids: taken, done };
      this.went();
    });
  }

  #difference(shape) {
    const before = this.model.get(shape.id);
    const differs = (key) => JSON.stringify(shape[key]) !== JSON.stringify(before[key]);
    return { id: shape.id, ...Object.fromEntries(CHANGEABLE.filter(differs).map((key) => [key, shape[key]])) };
  }

  /** The page has been told of objects that have gone. */
  went() {
    if (this.#leaving?.ids.every((id) => !this.model.has(id))) this.#leaving.done();
  }
}
