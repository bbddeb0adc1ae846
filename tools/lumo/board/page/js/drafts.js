// What was drawn here and has not come from the program yet. It is painted meanwhile.

export class Drafts {
  #shapes = new Set();
  #asked = 0;         // requests that have no answer yet
  #gone = new Set();  // numbers of objects that went meanwhile; an answer may name them still

  get size() { return this.#shapes.size; }
  has(id) { return [...this.#shapes].some((shape) => shape.id === id); }
  [Symbol.iterator]() { return this.#shapes.values(); }

  ask(shapes) {
    this.#asked++;
    for (const shape of shapes) this.#shapes.add(shape);
  }

  /** What has no number is refused; what has come, or come and gone, is no draft any more. */
  answer(shapes, ids, has) {
    this.#asked--;
    shapes.forEach((shape, i) => {
      shape.id = ids[i] || undefined;
      if (shape.id === undefined || has(shape.id) || this.#gone.has(shape.id)) this.#shapes.delete(shape);
    });
    if (this.#asked === 0) this.#gone.clear();
  }

  /** True when some have come, which are painted already. */
  came(ids) {
    const before = this.size, there = new Set(ids);
    for (const shape of this.#shapes) if (there.has(shape.id)) this.#shapes.delete(shape);
    return this.size < before;
  }

  went(ids) {
    this.came(ids);
    if (this.#asked > 0) for (const id of ids) this.#gone.add(id);
  }

  /** The program tells anew of all that it still holds. */
  reset(held) {
    const known = [...this.#shapes].map((shape) => shape.id).filter((id) => id !== undefined);
    this.went([...held, ...known]);
  }
}
