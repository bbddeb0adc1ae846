// The board without a pointer, for those who cannot see it well, and on windows of every size.
import assert from "node:assert/strict";
import { until } from "./processes.mjs";

const focused = (artist) => artist.page.evaluate(() => document.activeElement.id || document.activeElement.title);
const said = (artist, pattern) => until(`"${pattern}" read out`, async () => {
  const words = await artist.page.locator("#said").textContent();
  if (!pattern.test(words)) throw new Error(words);
  return true;
});

/** Keys of layouts without Latin letters mean what stands at their place; those with them what is written on them. */
const LAYOUTS = [
  ["к", "KeyK", {}, null], ["з", "KeyP", {}, "pen"], ["ک", "KeyR", {}, "rectangle"], ["ㄍ", "KeyE", {}, "ellipse"],
  ["m", "Semicolon", {}, "marker"], ["ö", "KeyA", {}, "arrow"], ["l", "KeyP", {}, "line"], ["ч", "KeyX", {}, "eraser"],
  ["Process", "KeyP", { isComposing: true }, null], ["м", "KeyV", {}, "select"],
];

async function pressLayouts(one) {
  const tool = () => one.page.locator("#tools [aria-pressed=true]").getAttribute("data-tool");
  for (const [key, code, more, expected] of LAYOUTS) {
    const before = await tool();
    await one.page.locator("#overlay").dispatchEvent("keydown", { key, code, bubbles: true, ...more });
    assert.equal(await tool(), expected ?? before, `${key} at ${code}`);
  }
}

/** Draws, finds, moves, resizes and writes with keys alone. */
async function drawByKeys(one, other) {
  await one.page.locator("#overlay").focus();
  await one.key("1");
  await one.holdAnswers("add");
  for (const key of ["r", "Enter", "t", "Enter"]) await one.key(key);
  await until("a rectangle", async () => (await other.objects()).length === 1);
  await one.page.keyboard.type("Hel");
  await one.letAnswersGo();  // which takes the text away from nobody who writes
  await one.page.keyboard.type("lo");
  await one.key("Escape");
  await until("a text", async () => (await one.objects()).length === 2);
  await one.key("n");
  await said(one, /^Ink rectangle, 1 of 2, at \d+, \d+$/);
  const [{ box }] = await one.objects();
  await one.key("Shift+ArrowRight");
  await said(one, new RegExp(`^at ${Math.round(box[0] / 16) + 10}, `));
  await one.page.keyboard.down("Control");
  await one.key("Shift+ArrowDown");
  await one.key("Shift+ArrowDown");
  await one.page.keyboard.up("Control");
  await said(one, /^160 by 120$/);
  await until("the rectangle moved and resized", async () => {
    const [{ box: now }] = await other.objects();
    return now[0] === box[0] + 160 && now[2] === box[2] + 160 && now[3] === box[3] + 320;
  });
  await one.key("n");
  await said(one, /^Ink text: Hello, 2 of 2/);
  await one.key("Enter");
  await one.page.keyboard.press("End");
  await one.page.keyboard.type("!");
  await one.key("Escape");
  await until("the text as edited", async () => (await other.objects()).some((object) => object.text === "Hello!"));
  await until("the same text chosen", async () => {
    const [chosen] = await one.page.evaluate(() => window.lumoBoard.chosen());
    return (await one.objects()).some((object) => object.text === "Hello!" && object.id === chosen);
  });
}

/** Into menus and out of them, along groups of buttons, and nowhere unseen. */
async function goByKeys(one, other) {
  const { page } = one;
  await page.locator("#menu-button").focus();
  for (const [key, expected] of [["ArrowDown", "save-png"], ["ArrowDown", "save-svg"], ["End", "clear"], ["ArrowDown", "save-png"],
    ["Escape", "menu-button"], ["Enter", "save-png"], ["Tab", "menu"]]) {
    await page.keyboard.press(key);
    if (expected !== "menu") assert.equal(await focused(one), expected, key);
  }
  assert.ok(await page.locator("#menu").isHidden(), "Tab leaves a menu");
  await page.locator("#colours [tabindex='0']").focus();
  await page.keyboard.press("ArrowRight");
  assert.equal(await page.locator("#colours [aria-checked=true]").getAttribute("title"), await focused(one));
  await page.keyboard.press("ArrowLeft");

  await page.locator("#overlay").focus();
  const seen = [];
  for (let i = 0; i < 30 && !(i > 0 && await focused(one) === "overlay"); i++) {
    seen.push(await page.evaluate(() => {
      const { outlineStyle, outlineWidth } = getComputedStyle(document.activeElement);
      const { id, title, tagName } = document.activeElement;
      return [id || title || tagName, outlineStyle !== "none" && parseFloat(outlineWidth) >= 2];
    }));
    await page.keyboard.press("Tab");
  }
  assert.deepEqual(seen.filter(([name, visible]) => !visible && name !== "BODY"), [], "where the focus cannot be seen");
  const names = seen.map(([name]) => name);
  for (const name of ["overlay", "people", "menu-button", "fill", "zoom"]) assert.ok(names.includes(name), `${name} by Tab`);
  assert.equal(names.filter((name) => /\([A-Z]\)$/.test(name)).length, 1, "one stop for all tools");

  await page.locator("#menu-button").focus();
  for (const key of ["Enter", "ArrowDown", "ArrowDown", "Enter"]) await page.keyboard.press(key);
  await page.keyboard.type("Ann");
  await page.keyboard.press("Enter");
  await until("the new name", async () => {
    const names = await other.page.locator("#crowd-list li span:last-child").allTextContents();
    if (!names.includes("Ann")) throw new Error(String(names));
    return true;
  });
  assert.equal(await focused(one), "menu-button", "where the dialog was opened from");
}

/** Whatever colour others announce, what is written upon it can be read. */
async function readNames(one) {
  const worst = await one.page.evaluate(async () => {
    const { inkOn } = await import(new URL("js/colours.js", location.href).href);
    const light = (colour) => [1, 3, 5].map((i) => parseInt(colour.slice(i, i + 2), 16) / 255)
      .map((n) => (n <= 0.04045 ? n / 12.92 : ((n + 0.055) / 1.055) ** 2.4))
      .reduce((sum, n, i) => sum + n * [0.2126, 0.7152, 0.0722][i], 0.05);
    let worst = 21;
    for (let n = 0; n < 0x1000000; n += 997) {
      const colour = `#${n.toString(16).padStart(6, "0")}`, [a, b] = [light(colour), light(inkOn(colour))];
      worst = Math.min(worst, Math.max(a, b) / Math.min(a, b));
    }
    return worst;
  });
  assert.ok(worst >= 4.5, `a name is read at ${worst} to 1`);
}

/** What the page shows, and how it gets there. */
const STATES = [
  ["plain", async () => {}], ["menu", (page) => page.locator("#menu-button").click()],
  ["people", (page) => page.locator("#people").click()], ["keys", (page) => page.keyboard.press("?")],
  ["name", async (page) => { await page.locator("#menu-button").click(); await page.locator("#rename").click(); }],
  ["clear", async (page) => { await page.locator("#menu-button").click(); await page.locator("#clear").click(); }],
  ["chosen", (page) => page.keyboard.press("n")],
];

async function audit(one, axe) {
  await one.page.evaluate(axe);
  for (const colorScheme of ["light", "dark"]) {
    await one.page.emulateMedia({ colorScheme, reducedMotion: "reduce" });
    for (const [state, enter] of STATES) {
      await enter(one.page);
      const bad = await one.page.evaluate(async () => (await window.axe.run()).violations
        .filter(({ impact }) => impact === "serious" || impact === "critical")
        .map(({ id, nodes }) => [id, ...nodes.map((node) => `${node.target}: ${node.failureSummary}`)]));
      assert.deepEqual(bad, [], `${colorScheme}, ${state}`);
      await one.page.keyboard.press("Escape");
      await one.page.locator("#overlay").focus();
    }
  }
}

/** On dark paper ink is light; what is saved stays as it is for everybody. */
async function dark(one) {
  const light = await one.picture(), brightness = () => one.page.evaluate(async () => {
    await new Promise((done) => requestAnimationFrame(() => requestAnimationFrame(done)));
    const { data } = document.getElementById("paper").getContext("2d").getImageData(0, 0, 1, 1);
    return data[0] + data[1] + data[2];
  });
  await one.page.emulateMedia({ colorScheme: "light" });
  assert.ok(await brightness() > 600);
  await one.page.emulateMedia({ colorScheme: "dark" });
  assert.ok(await brightness() < 200);
  assert.equal(await one.picture(), light);
}

export const SIZES = [[320, 568], [390, 844], [844, 390], [900, 500], [1280, 420], [1280, 800], [700, 360], [820, 1180]];

/** Panels that leave the window, cover each other or cut what is in them, and buttons that cannot be pressed. */
const faults = () => {
  const seen = (element) => element.offsetParent !== null || getComputedStyle(element).position === "fixed";
  const name = (element) => element.id || element.title, found = [];
  const parts = [...document.querySelectorAll("#frame .panel, #notice, #toast, #top img")].filter(seen);
  const boxes = parts.map((part) => part.getBoundingClientRect());
  parts.forEach((part, i) => {
    const a = boxes[i];
    if (a.left < 0 || a.top < 0 || a.right > innerWidth || a.bottom > innerHeight) found.push(`${name(part)} leaves the window`);
    if (part.scrollWidth > part.clientWidth + 1 || part.scrollHeight > part.clientHeight + 1) found.push(`${name(part)} is cut`);
    parts.forEach((other, k) => {
      const b = boxes[k];
      if (k <= i || part.contains(other) || other.contains(part)) return;
      if (a.left < b.right && b.left < a.right && a.top < b.bottom && b.top < a.bottom)
        found.push(`${name(part)} and ${name(other)} overlap`);
    });
  });
  for (const button of [...document.querySelectorAll("#frame button")].filter(seen)) {
    const { left, right, top, bottom, width, height } = button.getBoundingClientRect();
    const hit = document.elementFromPoint((left + right) / 2, (top + bottom) / 2);
    if (!button.contains(hit)) found.push(`${name(button)} is covered by ${hit && name(hit)}`);
    if (width < 24 || height < 24) found.push(`${name(button)} is small`);
  }
  return found;
};

export async function fit(one, shot, state) {
  for (const [width, height] of SIZES) {
    await one.page.setViewportSize({ width, height });
    for (const colorScheme of ["light", "dark"]) {
      await one.page.emulateMedia({ colorScheme, reducedMotion: "reduce" });
      await one.key("0");
      assert.deepEqual(await one.page.evaluate(faults), [], `${width} x ${height}, ${state}`);
      await shot(one, `${state}-${width}x${height}-${colorScheme}`);
    }
  }
}

export async function access(one, other, axe) {
  await pressLayouts(one);
  await drawByKeys(one, other);
  await goByKeys(one, other);
  await readNames(one);
  await audit(one, axe);
  await dark(one);
}
