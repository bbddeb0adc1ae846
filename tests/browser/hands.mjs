// What hands do with objects that are there; another sees it.
import assert from "node:assert/strict";
import { until } from "./processes.mjs";

const UNIT = 16;
const points = (box) => box.map((n) => Math.round(n / UNIT));
const middle = ({ box: [l, t, r, b] }) => [(l + r) / 2 / UNIT, (t + b) / 2 / UNIT];
/** A page has what another draws, and what is its own, once its program has said so. */
const holds = (artist, count) => until(`${count} objects`, async () => {
  const now = (await artist.objects()).length;
  if (now !== count) throw new Error(`${now}`);
  return true;
});
/** Until so many are chosen, which is when the program's answer has come, and after the objects themselves. */
const chose = async (artist, count) => until(`${count} chosen`, async () => {
  const there = new Set((await artist.objects()).map(({ id }) => id));
  const chosen = (await artist.page.evaluate(() => window.lumoBoard.chosen())).filter((id) => there.has(id));
  if (chosen.length !== count) throw new Error(`${chosen.length}`);
  return chosen;
});
const only = async (artist) => {
  await holds(artist, 1);
  return (await artist.objects())[0];
};
/** Until the other sees an object of that kind which is as it should be. */
const sees = (artist, what, check) => until(what, async () => {
  const all = await artist.objects();
  return all.find(check) ?? (() => { throw new Error(JSON.stringify(all).slice(0, 300)); })();
});
const clear = async (...artists) => {
  await artists[0].page.evaluate(() => fetch("do", { method: "POST", body: JSON.stringify([{ do: "clear" }]) }));
  for (const artist of artists) await holds(artist, 0);
};

/** Where each handle is pulled to, and what becomes of the box (left, top, width, height). */
const PULLS = [
  ["r", [300, 200], [400, 260], [408, 268], [50, 30], [300, 200, 150, 90]],
  ["e", [300, 200], [400, 260], [292, 230], [-40, 9], [260, 200, 140, 60]],
  ["l", [300, 200], [400, 260], [400, 260], [20, -60], [300, 200, 120, 0]],
  ["p", [300, 200], [400, 260], [292, 192], [50, 30], [350, 230, 50, 30]],
];

async function resize(one, other) {
  for (const [key, from, to, handle, [dx, dy], [left, top, width, height]] of PULLS) {
    await one.shape(key, from, to);
    const before = await only(one);
    await one.key("v");
    await one.page.mouse.click(...key === "e" ? [350, 200] : [300, key === "r" ? 230 : 200]);
    await one.drag(handle, [handle[0] + dx, handle[1] + dy]);
    const now = await sees(other, `"${key}" of another size`, ({ box }) =>
      String(points(box)) === String([left, top, left + width, top + height]));
    assert.equal(now.tag, before.tag, "it stays where it lies in the stack");
    if (key === "p") assert.deepEqual(points(now.points.slice(-2)), [400, 260], "its points come with it");
    await sees(one, "the same", ({ id }) => id === now.id);
    assert.deepEqual(await chose(one, 1), [now.id], "it is chosen still");
    await one.key("Control+z");
    await sees(other, "the size of before", ({ box }) => String(box) === String(before.box));
    await clear(one, other);
  }
  await one.write([300, 200], "Letters");
  const before = await only(one), [, , r, b] = points(before.box);
  await one.key("v");
  await one.page.mouse.click(...middle(before));
  await one.drag([r + 8, b + 8], [r + 8 + (r - 300), b + 8 + (b - 200)]);
  const grown = await sees(other, "greater letters", ({ width }) => Math.abs(width / before.width - 2) < 0.02);
  assert.ok(Math.abs(grown.box[2] - grown.box[0] - 2 * (before.box[2] - before.box[0])) < 2 * UNIT, "letters keep their sides");
  await clear(one, other);
}

/** The bar shows what the selection has, and changes it. */
async function restyle(one, other) {
  const checked = (group) => one.page.locator(`#${group} [aria-checked=true]`).getAttribute("title");
  await one.key("3");
  await one.shape("r", [300, 200], [400, 260]);
  await one.key("6");
  await one.shape("m", [300, 320], [400, 320]);
  await holds(one, 2);
  await one.key("v");
  await one.page.mouse.click(300, 230);
  assert.equal(await checked("colours"), "Red (3)");
  await one.page.locator("#fill").click();
  await sees(other, "a filled rectangle", ({ fill }) => fill);
  await one.page.locator("#colours [title^=Green]").click();
  await sees(other, "a green rectangle", ({ type, colour, fill }) => type === "rectangle" && colour === "#2f9e44" && fill === "#d1eaD6".toLowerCase());
  await one.key("Control+a");
  assert.equal(await one.page.locator("#colours [aria-checked=true]").count(), 0, "they have different colours");
  await one.page.locator("#widths [title=Bold]").click();
  await sees(other, "a bold rectangle", ({ type, width }) => type === "rectangle" && width === 8 * UNIT);
  await sees(other, "a bold marker", ({ type, width }) => type === "marker" && width === 32 * UNIT);
  await one.key("Escape");
  await one.page.locator("#widths [title=Medium]").click();
  await one.key("f");
  await clear(one, other);
}

async function copy(one, other) {
  await one.shape("r", [300, 200], [400, 260]);
  await one.show(one.photo);
  const [photo] = (await one.objects()).filter(({ type }) => type === "picture");
  await one.page.locator("#duplicate").click();
  const twin = await sees(other, "a second picture", ({ id, type }) => type === "picture" && id !== photo.id);
  assert.deepEqual(points(twin.box), points(photo.box).map((n) => n + 16));
  await holds(one, 3);
  await one.key("Control+a");
  await one.key("Control+x");
  for (const artist of [one, other]) await holds(artist, 0);
  await one.key("Control+v");
  for (const artist of [one, other]) await holds(artist, 3);
  await chose(one, 3);
  await one.key("Control+c");
  await one.key("Control+v");
  for (const artist of [one, other]) await holds(artist, 6);
  const shown = await one.page.evaluate(async () => Promise.all(window.lumoBoard.objects()
    .filter((object) => object.type === "picture").map(async ({ id }) => (await fetch(`picture/${id}`)).status)));
  assert.deepEqual(shown, [200, 200, 200, 200], "each with its picture, though what was cut has gone");
  await one.key("Control+z");
  await holds(other, 3);
  await clear(one, other);
}

/** The eraser takes what it touches, in one step; a frame chooses what is in it. */
async function eraseAndFrame(one, other) {
  for (const x of [300, 400, 500]) await one.shape("r", [x, 200], [x + 60, 260]);
  await holds(one, 3);
  await one.key("x");
  await one.drag([280, 230], [430, 230]);
  for (const artist of [one, other]) await holds(artist, 1);
  await one.key("Control+z");
  for (const artist of [one, other]) await holds(artist, 3);
  await one.key("v");
  await one.drag([280, 180], [480, 280]);
  await chose(one, 2);
  await one.drag([400, 230], [400, 330]);
  await until("two of three moved", async () => {
    const tops = (await other.objects()).map(({ box }) => points(box)[1]).sort();
    if (String(tops) !== "200,300,300") throw new Error(String(tops));
    return true;
  });
  await clear(one, other);
}

/** A text is edited by a button, in another colour; Esc keeps what was typed, and an input method has its Esc itself. */
async function editText(one, other) {
  const area = one.page.locator("#typing");
  await one.key("t");
  await one.page.mouse.click(300, 200);
  await one.page.keyboard.type("first");
  await area.dispatchEvent("keydown", { key: "Escape", isComposing: true });
  assert.ok(await area.isVisible(), "the input method's key");
  await one.key("Escape");
  await sees(other, "what was typed before Esc", ({ text }) => text === "first");
  await one.key("v");
  await one.page.mouse.click(...middle(await only(one)));
  await one.page.locator("#edit").click();
  await one.page.keyboard.press("End");
  await one.page.keyboard.type(" and more");
  await one.page.locator("#colours [title^=Pink]").click();
  await one.key("Escape");
  await sees(other, "the text as edited", ({ text, colour }) => text === "first and more" && colour === "#d6336c");
  await holds(other, 1);
  await clear(one, other);
}

export async function handle(one, other) {
  await resize(one, other);
  await restyle(one, other);
  await copy(one, other);
  await eraseAndFrame(one, other);
  await editText(one, other);
}
