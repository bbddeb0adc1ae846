// Who is here. Names and colours come from others: names are shown as text only, and can be read upon any colour.
import { inkOn } from "./colours.js";

const $ = (id) => document.getElementById(id);
const SHOWN = 4;

const initials = (name) => (name.match(/[\p{L}\p{N}]+/gu) ?? [name]).slice(0, 2).map((word) => [...word][0] ?? "").join("")
  .toUpperCase();

function face(person) {
  const element = document.createElement("span");
  element.className = "face";
  element.textContent = initials(person.name);
  element.title = person.name;
  if (person.colour) Object.assign(element.style, { background: person.colour, color: inkOn(person.colour) });
  return element;
}

/** Stands for those that are not shown, on a page that shows `shown`. */
function others(people, shown, kind) {
  const count = people.length - shown;
  if (count <= 0) return [];
  const element = face({ name: people.slice(shown).map((person) => person.name).join(", "), colour: "" });
  element.className = `face rest ${kind}`;
  element.textContent = `+${count}`;
  return [element];
}

export class People {
  constructor(view) {
    this.view = view;
    this.you = 0;
    this.all = new Map();
  }

  show(people) {
    this.all = new Map(people.map((person) => [person.id, person]));
    for (const id of this.view.pointers.keys()) if (!this.all.has(id)) this.view.pointers.delete(id);
    const count = document.createElement("span");
    count.className = "unseen";
    count.textContent = `${people.length} here`;
    $("people").replaceChildren(...people.slice(0, SHOWN).map(face), ...others(people, SHOWN, "wide"),
      ...others(people, 1, "narrow"), count);
    $("crowd-list").replaceChildren(...people.map((person) => {
      const item = document.createElement("li"), name = document.createElement("span");
      name.textContent = person.name + (person.id === this.you ? " (you)" : "");
      item.append(face(person), name);
      return item;
    }));
    this.view.touch();
  }

  get own() { return this.all.get(this.you)?.name ?? ""; }

  point({ id, x, y }) {
    const person = this.all.get(id);
    if (person && x !== undefined) this.view.pointers.set(id, { x, y, at: performance.now(), ...person });
    else this.view.pointers.delete(id);
    this.view.touch();
  }
}
