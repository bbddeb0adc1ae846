// Texts while they are typed, in a field above the board.
import { FONT, LINE_HEIGHT, UNIT, textBox } from "./shapes.js";
import { look } from "./colours.js";

const MOST_TEXT = 4000;  // bytes

export class Typing {
  #now = null;      // { at, old, colour, size } of the text under the hand
  #refused = [];    // those that the program has not taken, with their words

  constructor(board) {
    this.board = board;
    this.view = board.view;
    this.area = document.getElementById("typing");
    this.area.style.fontFamily = FONT;
    this.area.oninput = () => this.#fit();
    this.area.onblur = () => this.finish();
  }

  get isOpen() { return this.#now !== null; }

  /** A new text there, or instead of an old one. */
  begin(at, old = null) {
    const { colour, textSize } = this.board.style();
    if (this.finish()) this.#open({ at, old, colour: old?.colour ?? colour, size: old?.width ?? textSize }, old?.text ?? "");
  }

  #open(typing, text) {
    const { old } = this.#now = typing;
    if (old) this.view.hidden.add(old.id);
    this.area.value = text;
    this.area.hidden = false;
    this.#fit();
    this.board.changed();
    this.area.focus();
  }

  /** In another colour or size from now on. */
  restyle(what, { colour, textSize }) {
    if (what === "colour") this.#now.colour = colour;
    if (what === "width") this.#now.size = textSize;
    this.#fit();
  }

  #fit() {
    const { at, colour, size } = this.#now, [x, y] = this.view.toScreen(...at), points = size / UNIT * this.view.scale;
    const [l, t, r, b] = textBox([0, 0], this.area.value || "Text", size);
    Object.assign(this.area.style, {
      left: `${x}px`, top: `${y}px`, fontSize: `${points}px`, color: look().tone(colour),
      width: `${(r - l) / UNIT * this.view.scale + points}px`,
      height: `${Math.max(b - t, size * LINE_HEIGHT) / UNIT * this.view.scale}px`,
    });
  }

  /** Keeps what was typed. False when it goes on: that is too long for an object, or what was typed before is refused. */
  finish() {
    const typing = this.#now;
    if (!typing) return this.#openRefused();
    const text = this.area.value.trimEnd(), { old } = typing;
    if (new TextEncoder().encode(text).length > MOST_TEXT) {
      this.board.say("This text is too long.");
      requestAnimationFrame(() => this.area.focus());
      return false;
    }
    this.#now = null;
    this.area.hidden = true;  // which takes the focus from it, and so comes here again
    const same = old ? text === old.text && typing.colour === old.colour && typing.size === old.width : !text;
    if (same) this.#show(old);
    else this.#write(typing, text);
    return this.#openRefused();
  }

  #openRefused() {
    if (!this.isOpen && this.#refused.length > 0) this.#open(...this.#refused.shift());
    return !this.isOpen;
  }

  #show(old) {
    if (old) this.view.hidden.delete(old.id);
    this.board.changed();
  }

  async #write(typing, text) {
    const { at, old, colour, size } = typing;
    if (!text) return this.board.remove([old.id]);
    const shape = { type: "text", colour, width: size, fill: null, text, box: textBox(at, text, size) };
    const taken = old ? await this.board.replace(old.id, shape) : (await this.board.add(shape)).length > 0;
    this.#show(old);
    if (taken) return;
    this.#refused.push([typing, text]);
    this.#openRefused();
  }
}
