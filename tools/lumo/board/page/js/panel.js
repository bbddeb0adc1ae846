// Buttons, menus and dialogs.
import { UNIT } from "./shapes.js";

const $ = (id) => document.getElementById(id);

/** Name, words and key. */
export const TOOLS = [
  ["select", "Select and move", "V"], ["hand", "Move the view", "H"], ["pen", "Pen", "P"], ["marker", "Marker", "M"],
  ["line", "Line", "L"], ["arrow", "Arrow", "A"], ["rectangle", "Rectangle", "R"], ["ellipse", "Ellipse", "E"],
  ["text", "Text", "T"], ["picture", "Picture", "I"],
];
const COLOURS = [["Ink", "#1c2330"], ["Grey", "#868e96"], ["Red", "#e03131"], ["Orange", "#f08c00"], ["Green", "#2f9e44"],
  ["Blue", "#1971c2"], ["Violet", "#7048e8"], ["Pink", "#d6336c"]];
const WIDTHS = [["Fine", 2, 18], ["Medium", 4, 26], ["Bold", 8, 40]];  // of lines and of letters, in points
const MORE_KEYS = [["Ctrl+Z, Ctrl+Shift+Z", "Undo what I did, redo"], ["Ctrl+A", "Select all"], ["Delete", "Delete the selection"],
  ["Arrows", "Move the selection, or the view"], ["Shift", "Squares, circles, straight angles"], ["1 to 8", "Colours"],
  ["F", "Fill on or off"], ["Space and drag", "Move the view"], ["+, -, 0", "Zoom, show everything"],
  ["Ctrl+Enter, Esc", "Finish a text, leave it"], ["Ctrl+V", "Paste a picture"], ["Ctrl+S, Ctrl+Shift+S", "Save as PNG, as SVG"]];

function iconOf(name) {
  const svg = document.createElementNS("http://www.w3.org/2000/svg", "svg");
  const use = document.createElementNS("http://www.w3.org/2000/svg", "use");
  use.setAttribute("href", `icons.svg#${name}`);
  svg.append(use);
  return svg;
}

/** A lighter tone, so that what is written upon it can be read. */
const tint = (colour) => "#" + [1, 3, 5].map((i) => Math.round(255 - (255 - parseInt(colour.slice(i, i + 2), 16)) * 0.22)
  .toString(16).padStart(2, "0")).join("");

/** Radio buttons with a spot each; `change` gets the number of the chosen one. */
function choices(parent, names, dress, change) {
  const buttons = names.map((name, i) => {
    const button = document.createElement("button"), spot = document.createElement("i");
    button.title = name;
    button.setAttribute("role", "radio");
    dress(spot, i);
    button.append(spot);
    button.onclick = () => choose(i);
    return button;
  });
  const choose = (i) => {
    buttons.forEach((button, k) => button.setAttribute("aria-checked", String(k === i)));
    change(i);
  };
  parent.append(...buttons);
  return choose;
}

export function buildPanel(board) {
  const state = { colour: 0, width: 1, fill: false };
  for (const [name, words, key] of TOOLS) {
    const button = document.createElement("button");
    button.className = "icon";
    button.title = `${words} (${key})`;
    button.dataset.tool = name;
    button.append(iconOf(name));
    button.onclick = () => board.setTool(name);
    $("tools").append(button);
  }
  const setColour = choices($("colours"), COLOURS.map(([name], i) => `${name} (${i + 1})`),
    (spot, i) => { spot.style.background = COLOURS[i][1]; }, (i) => { state.colour = i; });
  const setWidth = choices($("widths"), WIDTHS.map(([name]) => name),
    (spot, i) => { spot.style.width = spot.style.height = `${5 + 4 * i}px`; }, (i) => { state.width = i; });
  setColour(0);
  setWidth(1);

  const closeMenus = () => { $("menu").hidden = $("crowd").hidden = true; };
  const opener = (menu) => () => {
    const open = $(menu).hidden;
    closeMenus();
    $(menu).hidden = !open;
  };
  const toggleFill = () => {
    state.fill = !state.fill;
    $("fill").setAttribute("aria-pressed", String(state.fill));
  };
  const ask = (id, then) => {
    const dialog = $(id);
    dialog.returnValue = "no";
    dialog.onclose = () => dialog.returnValue === "yes" && then();
    dialog.showModal();
  };
  const showKeys = () => ask("keys", () => {});

  for (const [keys, words] of [...TOOLS.map(([, words, key]) => [key, words]), ...MORE_KEYS]) {
    const term = document.createElement("dt"), meaning = document.createElement("dd");
    term.textContent = keys;
    meaning.textContent = words;
    $("key-list").append(term, meaning);
  }

  const actions = {
    undo: () => board.undo(), redo: () => board.redo(), fill: toggleFill, delete: () => board.removeChosen(),
    "zoom-in": () => board.view.zoom(1.25), "zoom-out": () => board.view.zoom(0.8), zoom: () => board.view.showAll(),
    "menu-button": opener("menu"), people: opener("crowd"), "save-png": () => board.savePng(),
    "save-svg": () => board.saveSvg(), "show-keys": showKeys, clear: () => ask("ask-clear", () => board.clear()),
    rename: () => {
      $("name").value = board.people.own;
      ask("ask-name", () => $("name").value.trim() && board.rename($("name").value.trim()));
    },
  };
  for (const [id, action] of Object.entries(actions)) {
    $(id).addEventListener("click", () => {
      if ($(id).closest(".menu")) closeMenus();
      action();
    });
  }
  // Enter takes the name, not the first button of the dialog, which leaves it.
  $("name").addEventListener("keydown", (event) => {
    if (event.key !== "Enter") return;
    event.preventDefault();
    $("ask-name").close("yes");
  });
  board.view.onZoom = (scale) => { $("zoom").textContent = `${Math.round(scale * 100)} %`; };

  return {
    closeMenus, toggleFill, setColour, showKeys,
    style: () => ({
      colour: COLOURS[state.colour][1],
      width: WIDTHS[state.width][1] * UNIT,
      textSize: WIDTHS[state.width][2] * UNIT,
      fill: state.fill ? tint(COLOURS[state.colour][1]) : null,
    }),
    showTool: (name) => {
      for (const button of $("tools").children) button.setAttribute("aria-pressed", String(button.dataset.tool === name));
      $("overlay").dataset.tool = name;
    },
    showUndo: ({ undo, redo }) => {
      $("undo").disabled = undo === 0;
      $("redo").disabled = redo === 0;
    },
  };
}
