// Who is here. Names come from others: they are shown as text only.
const $ = (id) => document.getElementById(id);
const SHOWN = 4;

const initials = (name) => name.trim().split(/\s+/).slice(0, 2).map((word) => [...word][0] ?? "").join("").toUpperCase();

function face(person) {
  const element = document.createElement("span");
  element.className = "face";
  element.textContent = initials(person.name);
  element.title = person.name;
  element.style.background = person.colour;
  return element;
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
    const faces = people.slice(0, SHOWN).map(face);
    if (people.length > SHOWN) {
      const rest = face({ name: `${people.length - SHOWN} more`, colour: "" });
      rest.className = "face rest";
      rest.textContent = `+${people.length - SHOWN}`;
      faces.push(rest);
    }
    $("people").replaceChildren(...faces);
    $("people").setAttribute("aria-label", `${people.length} here`);
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
