// Puts the page together: the panel, the board's events, and what people do.
import { UNIT, FONT, LINE_HEIGHT } from "./shapes.js";
import { act, listen, sendPicture } from "./net.js";
import { canvasOf, save, svgOf } from "./export.js";
import { Model } from "./model.js";
import { People } from "./people.js";
import { Tools, textBox } from "./tools.js";
import { View } from "./view.js";
import { bindKeys } from "./keys.js";
import { buildPanel } from "./panel.js";
import { pictureIn, prepare } from "./pictures.js";

const $ = (id) => document.getElementById(id);
const MOST_TEXT = 4000;  // bytes

class Board {
  model = new Model();
  view = new View(this.model);
  tools = new Tools(this);
  people = new People(this.view);
  panel = buildPanel(this);
  refused = [];  // texts that the program has not taken: where, instead of which, what
  #pointing = false;

  style() { return this.panel.style(); }
  setTool(name) {
    if (name === "picture") return this.choosePicture();
    this.finishTyping();
    this.tools.tool = name;
    this.panel.showTool(name);
    if (name !== "select") this.choose([]);
  }

  choose(ids) {
    this.view.selection = new Set(ids);
    $("delete").hidden = this.view.selection.size === 0;
    this.view.touch();
  }
  chooseAll() {
    this.setTool("select");
    this.choose(this.model.sorted().filter((object) => object.type).map((object) => object.id));
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

  /** Draws at once what the program has not confirmed yet. */
  async add(...shapes) {
    const ids = await this.draft(shapes, (objects) => ({ do: "add", objects }));
    if (ids && ids.length < shapes.length) this.say("The board is full.");
    return ids ?? [];
  }
  /** False when it was refused. */
  async replace(id, shape) {
    const ids = await this.draft([shape], ([object]) => ({ do: "replace", id, object }));
    if (ids?.length === 0) this.say("Not changed: others may have changed it, or the board is full.");
    return ids?.length > 0;
  }
  /** The new numbers; null when the program did not answer. */
  async draft(shapes, action) {
    $("welcome").hidden = true;
    this.view.drafts.ask(shapes);
    this.view.change();
    const answer = await this.tell(act(action(shapes.map(({ path, ...shape }) => shape))));
    this.view.drafts.answer(shapes, answer?.[0] ?? [], (id) => this.model.has(id));
    this.changed();
    return answer?.[0] ?? null;
  }

  move(ids, dx, dy) { return this.tell(act({ do: "move", ids, dx, dy })); }
  remove(ids) { if (ids.length > 0) this.tell(act({ do: "delete", ids })); }
  removeChosen() { this.remove([...this.view.selection]); }
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

  typeAt(at, old = null) {
    if (this.finishTyping()) this.openTyping(at, old, old?.text ?? "");
  }

  openTyping(at, old, text) {
    const { colour, textSize } = old ? { colour: old.colour, textSize: old.width } : this.style();
    const area = $("typing"), [x, y] = this.view.toScreen(...at), size = textSize / UNIT * this.view.scale;
    Object.assign(area.style, { left: `${x}px`, top: `${y}px`, fontSize: `${size}px`, color: colour });
    area.value = text;
    area.hidden = false;
    const fit = () => {
      const [l, t, r, b] = textBox([0, 0], area.value || "Text", textSize);
      area.style.width = `${(r - l) / UNIT * this.view.scale + size}px`;
      area.style.height = `${Math.max(b - t, textSize * LINE_HEIGHT) / UNIT * this.view.scale}px`;
    };
    area.oninput = fit;
    area.onblur = () => this.finishTyping();
    fit();
    this.typing = { at, old, colour, textSize };
    area.focus();
  }

  /** False when it goes on: what was typed is too long for an object, or what was typed before is refused. */
  finishTyping(keep = true) {
    const typing = this.typing, area = $("typing");
    if (!typing) return this.openRefused();
    const text = area.value.trimEnd();
    if (keep && new TextEncoder().encode(text).length > MOST_TEXT) {
      this.say("This text is too long.");
      requestAnimationFrame(() => area.focus());
      return false;
    }
    this.typing = null;
    area.hidden = true;
    if (keep && text !== (typing.old?.text ?? "")) this.write(typing, text);
    return this.openRefused();
  }

  openRefused() {
    const refused = this.refused.shift();
    if (refused) this.openTyping(...refused);
    return !refused;
  }

  async write({ at, old, colour, textSize }, text) {
    if (!text) return this.remove([old.id]);
    const shape = { type: "text", colour, width: textSize, fill: null, text, box: textBox(at, text, textSize) };
    if (old ? await this.replace(old.id, shape) : (await this.add(shape)).length > 0) return;
    this.refused.push([at, old, text]);
    if (!this.typing) this.openRefused();
  }

  choosePicture() { $("file").click(); }

  async addPicture(file, at) {
    const picture = await prepare(file);
    if (!picture) return this.say("This is no picture that can be shown.");
    const fit = Math.min(1, 480 / Math.max(picture.width, picture.height)) / this.view.scale;
    const [x, y] = this.view.toBoard(...(at ?? [window.innerWidth / 2, window.innerHeight / 2]));
    const w = Math.round(picture.width * fit * UNIT / 2), h = Math.round(picture.height * fit * UNIT / 2);
    const answer = await this.tell(sendPicture(picture.blob, [x - w, y - h, x + w, y + h]));
    if (!answer) return;
    if (answer[0].length === 0) return this.say("The board is full.");
    this.setTool("select");
    this.choose(answer[0]);
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
    this.finishTyping();
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
    clearTimeout(this.emptyTimer);
    this.emptyTimer = setTimeout(() => this.changed(), 400);
  }
  added(objects) {
    const onTop = this.model.add(objects);
    const drafted = this.view.drafts.came(objects.map((object) => object.id));
    if (onTop && !drafted) this.view.drawOnTop(objects);
    else this.view.change();
    $("welcome").hidden = true;
  }
  removed(ids) {
    this.view.drafts.went(ids);
    this.model.remove(ids);
    this.changed();
  }
  moved(boxes) {
    this.model.place(boxes);
    const { shift } = this.view;
    if (shift?.sent && boxes.some(([id]) => shift.ids.has(id))) this.view.shift = null;
    this.view.change();
  }
  changed() {
    this.choose([...this.view.selection].filter((id) => this.model.has(id)));
    $("welcome").hidden = this.model.size > 0 || this.view.drafts.size > 0;
    this.view.change();
  }
  status({ connected, path }) {
    const words = connected ? `Connected · ${path}` : `Connecting · ${path} · what you draw now is sent later`;
    this.showStatus(connected ? "on" : "wait", words);
  }
  lost() {
    this.showStatus("lost", "The program is not running");
    this.people.show([]);
  }
  showStatus(state, words) {
    $("status").dataset.state = state;
    $("status").title = words;
    $("status-text").textContent = words;
  }
}

const board = new Board();
board.setTool("pen");
bindKeys(board);

listen({
  hello: (event) => board.hello(event),
  status: (event) => board.status(event),
  "not kept": () => board.say("Not kept: the server has no room for more from here."),
  people: (event) => board.people.show(event.people),
  pointer: (event) => board.people.point(event),
  undo: (event) => board.panel.showUndo(event),
  reset: () => board.reset(),
  add: (event) => board.added(event.objects),
  delete: (event) => board.removed(event.ids),
  move: (event) => board.moved(event.boxes),
  lost: () => board.lost(),
});

$("file").addEventListener("change", () => {
  for (const file of $("file").files) board.addPicture(file);
  $("file").value = "";
});
addEventListener("paste", (event) => {
  const file = pictureIn(event.clipboardData);
  if (file) board.addPicture(file);
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
  picture: async () => (await canvasOf(board.model, 1)).toDataURL("image/png"),
  svg: () => svgOf(board.model),
  pointers: () => [...board.view.pointers.values()].map(({ x, y, name }) => ({ x, y, name })),
};
document.getElementById("typing").style.fontFamily = FONT;
