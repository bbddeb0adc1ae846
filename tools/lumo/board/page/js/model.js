// The objects of the board, in the order in which they lie.
import { extent, forgetPictures, renamePicture } from "./shapes.js";

const above = (a, b) => a.tag - b.tag || a.id - b.id;

export class Model {
  #objects = new Map();
  #sorted = null;

  /** True when all of them lie above what was there, so that drawing them is enough. Sorts nothing: they come by thousands. */
  add(objects) {
    objects.sort(above);  // drawn in this order when all lie on top
    const last = this.#sorted?.at(-1);
    let onTop = this.#sorted !== null;  // else all of it is still to be drawn
    for (const object of objects) {
      onTop &&= !this.#objects.has(object.id) && (!last || above(last, object) < 0);
      this.#objects.set(object.id, object);
    }
    if (onTop) this.#sorted.push(...objects);
    else this.#sorted = null;
    return onTop;
  }

  remove(ids) {
    for (const id of ids) this.#objects.delete(id);
    this.#sorted = null;
    forgetPictures((id) => this.#objects.has(id));
  }

  /** These objects go by other numbers, and look different. */
  swap(ids, objects) {
    ids.forEach((id, i) => renamePicture(id, objects[i].id));
    this.add([...objects]);
    this.remove(ids);
  }

  /** Where each of them is from now on: [id, left, top, right, bottom]. */
  place(boxes) {
    for (const [id, ...box] of boxes) {
      const object = this.#objects.get(id);
      if (!object?.box) continue;
      const dx = box[0] - object.box[0], dy = box[1] - object.box[1];
      object.box = box;
      object.path = null;
      object.points = object.points?.map((n, i) => (n + (i % 2 ? dy : dx)) | 0);  // wraps as it does where records are held
    }
  }

  clear() {
    this.#objects.clear();
    this.#sorted = null;
  }

  has(id) { return this.#objects.has(id); }
  get(id) { return this.#objects.get(id); }
  ids() { return [...this.#objects.keys()]; }
  get size() { return this.#objects.size; }

  sorted() {
    this.#sorted ??= [...this.#objects.values()].sort(above);
    return this.#sorted;
  }

  /** Of all objects, or of these; null when there are none. */
  extent(objects = this.sorted()) {
    let all = null;
    for (const object of objects) {
      if (!object.type) continue;
      const [l, t, r, b] = extent(object);
      all = all ? [Math.min(all[0], l), Math.min(all[1], t), Math.max(all[2], r), Math.max(all[3], b)] : [l, t, r, b];
    }
    return all;
  }
}
