// How the keyboard goes through groups of buttons, and into menus and out of them.

const STEPS = { ArrowLeft: -1, ArrowUp: -1, ArrowRight: 1, ArrowDown: 1 };
const seen = (parent) => [...parent.querySelectorAll("button")].filter((button) => !button.disabled && button.offsetParent);

/** Tab reaches this button of the group and no other. */
export function reachByTab(parent, one) {
  for (const button of parent.querySelectorAll("button")) button.tabIndex = button === one ? 0 : -1;
}

/** Arrow keys, Home and End go through the buttons of a group; `then` gets the one they have come to. */
export function rove(parent, then = () => {}) {
  parent.addEventListener("focusin", (event) => {
    const button = event.target.closest("button");
    if (button) reachByTab(parent, button);
  });
  parent.addEventListener("keydown", (event) => {
    const buttons = seen(parent), at = buttons.indexOf(document.activeElement);
    if (event.ctrlKey || event.metaKey || event.altKey || buttons.length === 0) return;
    let to;
    if (event.key in STEPS) to = at < 0 && STEPS[event.key] < 0 ? -1 : at + STEPS[event.key];
    else if (event.key === "Home") to = 0;
    else if (event.key === "End") to = -1;
    else return;
    event.preventDefault();
    const button = buttons.at(to % buttons.length);
    button.focus();
    then(button);
  });
}

/** A button that opens what is beneath it, and has the focus again when that closes by the keyboard. */
export class Popup {
  constructor(button, box, { role = "menu" } = {}) {
    Object.assign(this, { button, box, role });
    button.setAttribute("aria-haspopup", role);
    button.setAttribute("aria-controls", box.id);
    button.setAttribute("aria-expanded", "false");
    button.addEventListener("mousedown", (event) => event.preventDefault());  // the focus leaves when it closes, not before
    button.addEventListener("click", () => (box.hidden ? this.open() : this.close()));
    button.addEventListener("keydown", (event) => {
      if (event.key !== "ArrowDown") return;
      event.preventDefault();
      this.open();
    });
    if (role === "menu") rove(box);
    box.addEventListener("keydown", (event) => {
      if (event.key !== "Escape" && event.key !== "Tab") return;
      if (event.key === "Escape") event.preventDefault();
      this.close();
    });
    box.addEventListener("focusout", (event) => {
      if (!box.contains(event.relatedTarget) && event.relatedTarget !== button) this.close(false);
    });
  }

  open() {
    this.box.hidden = false;
    this.button.setAttribute("aria-expanded", "true");
    (this.role === "menu" ? seen(this.box)[0] : this.box.querySelector("[tabindex]")).focus();
  }

  close(back = this.box.contains(document.activeElement)) {
    if (this.box.hidden) return;
    this.box.hidden = true;
    this.button.setAttribute("aria-expanded", "false");
    if (back) this.button.focus();
  }
}
