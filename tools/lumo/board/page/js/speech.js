// What is read out to those who do not see the board.
import { UNIT, frame } from "./shapes.js";
import { nameOfColour } from "./colours.js";

const KINDS = { pen: "pen stroke", marker: "marker stroke", line: "line", arrow: "arrow", rectangle: "rectangle",
  ellipse: "ellipse" };
const MOST_LETTERS = 200;

export function nameOf(object) {
  if (object.type === "picture") return "Picture";
  const colour = nameOfColour(object.colour);
  if (object.type !== "text") return `${colour} ${object.fill ? "filled " : ""}${KINDS[object.type]}`;
  const letters = [...object.text];
  return `${colour} text: ${letters.slice(0, MOST_LETTERS).join("")}${letters.length > MOST_LETTERS ? "…" : ""}`;
}

const points = (units) => Math.round(units / UNIT);

export function placeOf(object) {
  const [l, t] = frame(object.box);
  return `at ${points(l)}, ${points(t)}`;
}
export function sizeOf(object) {
  const [l, t, r, b] = frame(object.box);
  return `${points(r - l)} by ${points(b - t)}`;
}

/** The same words are read again when they are said again. */
export function speak(words) {
  const region = document.getElementById("said");
  region.textContent = region.textContent === words ? `${words}\u00a0` : words;
}
