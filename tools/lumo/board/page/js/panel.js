// Buttons, menus and dialogs.
import { MARKER_WIDTH, UNIT, textBox } from "./shapes.js";
import { COLOURS, look, onLook, tint } from "./colours.js";
import { Popup, reachByTab, rove } from "./focus.js";

const $ = (id) => document.getElementById(id);

/** Name, words and key. */
export const TOOLS = [
  ["select", "Select and move", "V"], ["hand", "Move the view", "H"], ["pen", "Pen", "P"], ["marker", "Marker", "M"],
  ["line", "Line", "L"], ["arrow", "Arrow", "A"], ["rectangle", "Rectangle", "R"], ["ellipse", "Ellipse", "E"],
  ["text", "Text", "T"], ["picture", "Picture", "I"], ["eraser", "Eraser", "X"],
];
const WIDTHS = [["Fine", 2, 18], ["Medium", 4, 26], ["Bold", 8, 40]];  // of lines and of letters, in points
const MORE_KEYS = [["Ctrl+Z, Ctrl+Shift+Z", "Undo what I did, redo"], ["N, Shift+N", "Next object, the one before"],
  ["Arrows", "Move the selection, or the view"], ["Ctrl+Arrows", "Resize the selection"], ["Ctrl+A", "Select all"],
  ["Ctrl+C, X, V", "Copy, cut, paste; pictures too"], ["Ctrl+D", "Duplicate the selection"],
  ["Delete", "Delete the selection"], ["Enter", "Edit the text, or draw the shape"], ["Esc, Ctrl+Enter", "Finish a text"],
  ["Shift", "Squares, circles, straight angles"], ["1 to 8", "Colours"], ["F", "Fill on or off"],
  ["Space and drag", "Move the view"], ["+, -, 0", "Zoom, show everything"], ["Ctrl+S, Ctrl+Shift+S", "Save as PNG, as SVG"]];

function iconOf(name) {
  const svg = document.createElementNS("http://www.w3.org/2000/svg", "svg");
  const use = document.createElementNS("http://www.w3.org/2000/svg", "use");
  use.setAttribute("href", `icons.svg#${name}`);
  svg.setAttribute("aria-hidden", "true");
  svg.append(use);
  return svg;
}

/** Radio buttons with a spot each; `change` gets the number of the chosen one. Gives what shows one as chosen, -1 none. */
function choices(parent, names, dress, change) {
  const buttons = names.map((name, i) => {
    const button = document.createElement("button"), spot = document.createElement("i");
    button.title = name;
    button.setAttribute("role", "radio");
    dress(spot, i);
    button.append(spot);
    button.onclick = () => change(i);
    return button;
  });
  parent.append(...buttons);
  rove(parent, (button) => button.click());
  return (chosen) => {
    buttons.forEach((button, i) => button.setAttribute("aria-checked", String(i === chosen)));
    if (!parent.contains(document.activeElement)) reachByTab(parent, buttons[Math.max(chosen, 0)]);
  };
}

/** What all of them have; undefined when they differ or there are none. */
const common = (values) => (values.every((value) => value === values[0]) ? values[0] : undefined);

class Style {
  #colour = 0;
  #width = 1;
  #fill = false;

  constructor(board) {
    this.board = board;
    const colours = COLOURS.map(([name], i) => `${name} (${i + 1})`), spots = [];
    this.showColour = choices($("colours"), colours, (spot, i) => { spots[i] = spot; }, (i) => this.setColour(i));
    this.showWidth = choices($("widths"), WIDTHS.map(([name]) => name),
      (spot, i) => { spot.className = `width-${i}`; }, (i) => this.#set("width", () => { this.#width = i; }));
    const paint = () => spots.forEach((spot, i) => { spot.style.background = look().tone(COLOURS[i][1]); });
    onLook(paint);
    paint();
    $("fill").onclick = () => this.toggleFill();
    this.show([]);
  }

  get() {
    const colour = COLOURS[this.#colour][1], [, width, letters] = WIDTHS[this.#width];
    return { colour, width: width * UNIT, textSize: letters * UNIT, fill: this.#fill ? tint(colour) : null };
  }

  #set(what, change) {
    change();
    this.show([]);
    this.board.restyled(what);
  }
  setColour(i) { this.#set("colour", () => { this.#colour = i; }); }
  toggleFill() {
    const on = $("fill").getAttribute("aria-pressed") !== "true";
    this.#set("fill", () => { this.#fill = on; });
  }

  /** The object with the colour, the width or the fill that is chosen now. */
  dress(object, what) {
    const style = this.get(), shape = { ...object, path: null };
    const canFill = object.type === "rectangle" || object.type === "ellipse";
    if (object.type === "picture") return object;
    if (what === "colour") {
      shape.colour = style.colour;
      if (object.fill) shape.fill = tint(style.colour);
    } else if (what === "fill") {
      if (canFill) shape.fill = this.#fill ? object.fill ?? tint(object.colour) : null;
    } else if (object.type === "text") {
      shape.width = style.textSize;
      shape.box = textBox(object.box, object.text, style.textSize);
    } else {
      shape.width = object.type === "marker" ? MARKER_WIDTH * style.width : style.width;
    }
    return shape;
  }

  /** What these have in common; of none, what is drawn from now on. */
  show(objects) {
    const drawn = objects.filter((object) => object.type !== "picture");
    if (drawn.length === 0) {
      this.showColour(this.#colour);
      this.showWidth(this.#width);
      return $("fill").setAttribute("aria-pressed", String(this.#fill));
    }
    const widthOf = ({ type, width }) => WIDTHS.findIndex(([, line, letters]) =>
      width === UNIT * (type === "text" ? letters : type === "marker" ? MARKER_WIDTH * line : line));
    const fills = drawn.filter((object) => object.type === "rectangle" || object.type === "ellipse").map((one) => !!one.fill);
    this.showColour(COLOURS.findIndex(([, colour]) => colour === common(drawn.map((object) => object.colour))));
    this.showWidth(common(drawn.map(widthOf)) ?? -1);
    $("fill").setAttribute("aria-pressed", String(fills.length > 0 ? common(fills) ?? false : this.#fill));
  }
}

function fillKeys() {
  for (const [keys, words] of [...TOOLS.map(([, words, key]) => [key, words]), ...MORE_KEYS]) {
    const term = document.createElement("dt"), meaning = document.createElement("dd");
    term.textContent = keys;
    meaning.textContent = words;
    $("key-list").append(term, meaning);
  }
}

function ask(id, then) {
  const dialog = $(id);
  dialog.returnValue = "no";
  dialog.onclose = () => dialog.returnValue === "yes" && then();
  dialog.showModal();
}

function bindButtons(board, style, closeMenus) {
  const actions = {
    undo: () => board.undo(), redo: () => board.redo(), delete: () => board.removeChosen(), edit: () => board.editChosen(),
    duplicate: () => board.clipboard.duplicate(), "zoom-in": () => board.view.zoom(1.25),
    "zoom-out": () => board.view.zoom(0.8), zoom: () => board.view.showAll(), "save-png": () => board.savePng(),
    "save-svg": () => board.saveSvg(), "show-keys": () => ask("keys", () => {}),
    clear: () => ask("ask-clear", () => board.clear()),
    rename: () => {
      $("name").value = board.people.own;
      ask("ask-name", () => $("name").value.trim() && board.rename($("name").value.trim()));
      $("name").select();
    },
  };
  for (const [id, action] of Object.entries(actions)) {
    $(id).addEventListener("click", () => {
      if ($(id).closest(".menu")) closeMenus();
      action();
    });
  }
  // The keys go on meaning the board, or the text that is typed, when a pointer has pressed one of these.
  for (const id of ["tools", "style", "chosen", "history"])
    $(id).addEventListener("mousedown", (event) => event.preventDefault());
  // Enter takes the name, not the first button of the dialog, which leaves it.
  $("name").addEventListener("keydown", (event) => {
    if (event.key !== "Enter" || event.isComposing) return;
    event.preventDefault();
    $("ask-name").close("yes");
  });
}

export function buildPanel(board) {
  for (const [name, words, key] of TOOLS) {
    const button = document.createElement("button");
    button.className = "icon";
    button.title = `${words} (${key})`;
    button.dataset.tool = name;
    button.append(iconOf(name));
    button.onclick = () => board.setTool(name);
    $("tools").append(button);
  }
  rove($("tools"));
  fillKeys();
  const style = new Style(board);
  const popups = [new Popup($("menu-button"), $("menu")), new Popup($("people"), $("crowd"), { role: "dialog" })];
  const closeMenus = () => { for (const popup of popups) popup.close(); };
  bindButtons(board, style, closeMenus);
  board.view.onZoom = (scale) => { $("zoom").textContent = `${Math.round(scale * 100)} %`; };

  return {
    closeMenus, toggleFill: () => style.toggleFill(), setColour: (i) => style.setColour(i),
    showKeys: () => ask("keys", () => {}),
    style: () => style.get(),
    dress: (object, what) => style.dress(object, what),
    showTool: (name) => {
      for (const button of $("tools").children) {
        button.setAttribute("aria-pressed", String(button.dataset.tool === name));
        if (button.dataset.tool === name && !$("tools").contains(document.activeElement)) reachByTab($("tools"), button);
      }
      $("overlay").dataset.tool = name;
    },
    showChosen: (objects) => {
      $("chosen").hidden = objects.length === 0;
      $("edit").hidden = objects.length !== 1 || objects[0].type !== "text";
      style.show(objects);
    },
    showUndo: ({ undo, redo }) => {
      $("undo").disabled = undo === 0;
      $("redo").disabled = redo === 0;
    },
    showStatus: (state, words, notice) => {
      if (notice && $("notice").textContent !== notice) board.speak(notice);
      $("status").dataset.state = state;
      $("status").title = words;
      $("status-text").textContent = words;
      $("notice").textContent = notice;
      $("notice").hidden = notice === "";
    },
  };
}
