// Puts the page together: the panel, the board's events, and what people do.
import { UNIT, extent, textBox } from "./shapes.js";
import { act, listen, portions, sendPicture } from "./net.js";
import { canvasOf, save, svgOf } from "./export.js";
import { Changes } from "./changes.js";
import { Clipboard } from "./clipboard.js";
import { Model } from "./model.js";
import { People } from "./people.js";
import { Tools } from "./tools.js";
import { Typing } from "./typing.js";
import { View } from "./view.js";
import { bindKeys } from "./keys.js";
import { buildPanel } from "./panel.js";
import { nameOf, placeOf, speak } from "./speech.js";
import { pictureIn, prepare } from "./pictures.js";

const $ = (id) => document.getElementById(id);
const SHOWN_AGAIN_MS = 1000;  // what the program has not deleted by then stays

class Board {
  model = new Model();
  view = new View(this.model);
  tools = new Tools(this);
  people = new People(this.view);
  panel = buildPanel(this);
  typing = new Typing(this);
  clipboard = new Clipboard(this);
  changes = new Changes(this);
  #pointing = false;
  #turns = 0;  // how often people have taken a tool or chosen something

  style() { return this.panel.style(); }
  setTool(name) {
    if (name === "picture") return $("file").click();
    this.typing.finish();
    this.tools.tool = name;
    this.panel.showTool(name);
    if (name !== "select") this.choose([]);
  }

  choose(ids) {
    this.#turns++;
    this.#select(ids);
  }
  #select(ids) {
    this.view.selection = new Set(ids);
    this.panel.showChosen(this.view.chosen());
    this.view.touch();
  }
  chooseAll() {
    this.setTool("select");
    this.choose(this.model.sorted().filter((object) => object.type).map((object) => object.id));
    this.speak(`${this.view.selection.size} chosen`);
  }
  /** The next object in the order in which they lie, or the one before; shown and read out. */
  chooseNext(step) {
    const all = this.model.sorted().filter((object) => object.type);
    if (all.length === 0) return this.speak("The board is empty");
    this.setTool("select");
    const at = all.findIndex((object) => this.view.selection.has(object.id));
    const to = at < 0 ? (step > 0 ? 0 : all.length - 1) : (at + step + all.length) % all.length;
    this.choose([all[to].id]);
    this.view.reveal(extent(all[to]));
    this.speak(`${nameOf(all[to])}, ${to + 1} of ${all.length}, ${placeOf(all[to])}`);
  }

  async tell(work) {
    try {
      return await work;
    } catch (error) {
      this.say(error instanceof TypeError ? "Not done: the program is not running." : error.message);
      return null;
    }
  }

  say(text) {
    $("toast").textContent = text;
    $("toast").hidden = false;
    clearTimeout(this.toastTimer);
    this.toastTimer = setTimeout(() => { $("toast").hidden = true; }, 4000);
  }
  speak(words) { speak(words); }

  /** Gives the numbers of those that the program has taken. */
  async add(...shapes) {
    const taken = [];
    for (const portion of portions(shapes)) {
      const ids = await this.draft(portion, (objects) => act({ do: "add", objects }));
      if (!ids) break;
      taken.push(...ids.filter(Boolean));
      if (!ids.every(Boolean)) this.say("Not all of it is drawn: the board is full, or a picture has gone.");
    }
    return taken;
  }
  async addAndChoose(shapes) {
    const ids = await this.#choosing(this.add(...shapes));
    this.speak(`${ids.length} drawn`);
  }
  /** Chooses what is being drawn, unless people do something else until the program has answered. */
  async #choosing(drawing) {
    this.setTool("select");
    const turns = ++this.#turns, ids = await drawing;
    if (ids && turns === this.#turns) this.choose(ids.filter((id) => this.#holds(id)));
    return ids;
  }
  /** False when it was refused. */
  async replace(id, shape) {
    const chosen = this.view.selection.has(id);
    const ids = await this.draft([shape], ([object]) => act({ do: "replace", id, object }));
    if (ids?.length === 0) this.say("Not changed: others may have changed it, or the board is full.");
    if (chosen && ids?.length > 0) this.choose(ids.filter((one) => this.#holds(one)));
    return ids?.length > 0;
  }
  /** Draws at once what the program has not confirmed yet. Gives the new numbers; null when the program did not answer. */
  async draft(shapes, send) {
    this.view.drafts.ask(shapes);
    this.changed();
    const answer = await this.tell(send(shapes.map(({ path, ...shape }) => shape)));
    this.view.drafts.answer(shapes, answer?.[0] ?? [], (id) => this.model.has(id));
    this.changed();
    return answer?.[0] ?? null;
  }
  #holds(id) { return this.model.has(id) || this.view.drafts.has(id); }

  change(shapes) { return this.changes.make(() => shapes); }
  /** A colour, a width or a fill was chosen: for what is typed or chosen now, and for all that is drawn from now on. */
  restyled(what) {
    if (this.typing.isOpen) this.typing.restyle(what, this.style());
    else if (this.view.selection.size > 0)
      this.changes.make(() => this.view.chosen().map((object) => this.panel.dress(object, what)));
  }
  move(ids, dx, dy) { return this.tell(act({ do: "move", ids, dx, dy })); }
  async remove(ids) {
    if (ids.length > 0) await this.tell(act({ do: "delete", ids }));
    setTimeout(() => this.view.showAgain(ids), SHOWN_AGAIN_MS);
  }
  removeChosen() {
    const ids = [...this.view.selection];
    if (ids.length > 0) this.speak(`${ids.length} deleted`);
    this.remove(ids);
  }
  undo() { this.tell(act({ do: "undo" })); }
  redo() { this.tell(act({ do: "redo" })); }
  clear() { this.tell(act({ do: "clear" })); }
  rename(name) { this.tell(act({ do: "name", name })); }

  /** Where others see this pointer; one request at a time. */
  async point(at) {
    if (this.#pointing) { this.pointNext = at; return; }
    this.#pointing = true;
    try { await act(at ? { do: "pointer", x: at[0], y: at[1] } : { do: "pointer gone" }); } catch { /* shown already */ }
    this.#pointing = false;
    const next = this.pointNext;
    this.pointNext = undefined;
    if (next !== undefined) this.point(next);
  }

  edit(text) { this.typing.begin([text.box[0], text.box[1]], text); }
  /** The one text that is chosen. */
  editChosen() {
    const [only, ...more] = this.view.chosen();
    if (only?.type !== "text" || more.length > 0) return false;
    this.edit(only);
    return true;
  }
  writeInTheMiddle(text) {
    const { colour, textSize: width } = this.style();
    const shape = { type: "text", colour, width, fill: null, text, box: textBox(this.view.middle(), text, width) };
    if (new TextEncoder().encode(text).length > 4000) this.say("This text is too long.");
    else this.addAndChoose([shape]);
  }

  async addPicture(file, at = null) {
    const picture = await prepare(file);
    if (!picture) return this.say("This is no picture that can be shown.");
    const fit = Math.min(1, 480 / Math.max(picture.width, picture.height)) / this.view.scale;
    const [x, y] = at ? this.view.toBoard(...at) : this.view.middle();
    const w = Math.round(picture.width * fit * UNIT / 2), h = Math.round(picture.height * fit * UNIT / 2);
    const shape = { type: "picture", box: [x - w, y - h, x + w, y + h] };
    const ids = await this.#choosing(this.draft([shape], () => sendPicture(picture.blob, shape.box)));
    if (ids && !ids[0]) this.say("The board is full.");
  }

  async savePng() {
    const canvas = await canvasOf(this.model);
    canvas.toBlob((blob) => {
      if (blob) save(blob, `${document.title}.png`);
      else this.say("Not saved: the browser has no room for a picture of this size. SVG has no such limit.");
    }, "image/png");
  }
  async saveSvg() {
    const svg = await this.tell(svgOf(this.model));
    if (svg !== null) save(new Blob([svg], { type: "image/svg+xml" }), `${document.title}.svg`);
  }

  closeAll() {
    this.typing.finish();
    this.panel.closeMenus();
  }

  // What the program tells.

  hello({ channel, you }) {
    $("channel").textContent = channel;
    document.title = `Board ${channel}`;
    this.people.you = you;
  }
  reset() {
    this.view.drafts.reset(this.model.ids());
    this.model.clear();
    this.view.change();
    this.changes.went();
    clearTimeout(this.emptyTimer);
    this.emptyTimer = setTimeout(() => this.changed(), 400);
  }
  added(objects) {
    const onTop = this.model.add(objects);
    const drafted = this.view.drafts.came(objects.map((object) => object.id));
    if (onTop && !drafted) this.view.drawOnTop(objects);
    else this.view.change();
    $("welcome").hidden = true;
    if (objects.some((object) => this.view.selection.has(object.id))) this.#select([...this.view.selection]);
  }
  removed(ids) {
    this.view.drafts.went(ids);
    this.model.remove(ids);
    this.#forget(ids);
    this.changed();
  }
  /** Objects of before go by other numbers now: whoever chose one has chosen it still. */
  swapped({ ids, objects }) {
    const now = new Map(ids.map((id, i) => [id, objects[i].id]));
    this.model.swap(ids, objects);
    this.#forget(ids);
    this.view.selection = new Set([...this.view.selection].map((id) => now.get(id) ?? id));
    this.changed();
  }
  #forget(ids) {
    for (const id of ids) {
      this.view.hidden.delete(id);
      this.view.changed.delete(id);
    }
    this.changes.went();
  }
  moved(boxes) {
    this.model.place(boxes);
    const { shift, selection } = this.view;
    if (shift?.sent && boxes.some(([id]) => shift.ids.has(id))) this.view.shift = null;
    const chosen = boxes.filter(([id]) => selection.has(id));
    if (chosen.length > 0) this.speak(chosen.length > 1 ? `${chosen.length} moved` : placeOf({ box: chosen[0].slice(1) }));
    this.view.change();
  }
  changed() {
    this.#select([...this.view.selection].filter((id) => this.#holds(id)));
    $("welcome").hidden = this.model.size > 0 || this.view.drafts.size > 0;
    this.view.change();
  }
  status({ connected, path, text }) {
    if (connected) this.panel.showStatus("on", `Connected · ${path}`, "");
    else this.panel.showStatus("wait", `Not connected · ${path}`, `${text[0].toUpperCase()}${text.slice(1)}.`);
  }
  lost() {
    this.panel.showStatus("lost", "Not running", "The program of this board is not running: nothing can be drawn.");
    this.people.show([]);
  }
}

const board = new Board();
board.setTool("pen");
bindKeys(board);

listen({
  hello: (event) => board.hello(event),
  status: (event) => board.status(event),
  "not kept": () => board.say("The server has no room for this. It stays on your board, and is offered again."),
  people: (event) => board.people.show(event.people),
  pointer: (event) => board.people.point(event),
  undo: (event) => board.panel.showUndo(event),
  reset: () => board.reset(),
  add: (event) => board.added(event.objects),
  change: (event) => board.swapped(event),
  delete: (event) => board.removed(event.ids),
  move: (event) => board.moved(event.boxes),
  lost: () => board.lost(),
});

$("file").addEventListener("change", () => {
  for (const file of $("file").files) board.addPicture(file);
  $("file").value = "";
});
addEventListener("dragover", (event) => event.preventDefault());
addEventListener("drop", (event) => {
  event.preventDefault();
  const file = pictureIn(event.dataTransfer);
  if (file) board.addPicture(file, [event.clientX, event.clientY]);
});

// For tests and the curious.
window.lumoBoard = {
  objects: () => board.model.sorted().map(({ path, ...object }) => object),
  chosen: () => [...board.view.selection],
  picture: async () => (await canvasOf(board.model, 1)).toDataURL("image/png"),
  svg: () => svgOf(board.model),
  pointers: () => [...board.view.pointers.values()].map(({ x, y, name }) => ({ x, y, name })),
};
