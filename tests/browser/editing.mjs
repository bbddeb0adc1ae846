// One person chooses, moves, deletes, clears and saves; another sees it, and interferes.
import assert from "node:assert/strict";
import { readFile } from "node:fs/promises";
import { until } from "./processes.mjs";

const middle = ({ box: [l, t, r, b] }) => [(l + r) / 32, (t + b) / 32];
const ofType = async (artist, type) => (await artist.objects()).filter((object) => object.type === type);
const pixel = (artist, at) => artist.page.evaluate(([x, y]) =>
  String(document.getElementById("paper").getContext("2d").getImageData(x, y, 1, 1).data), at);
const holds = (artist, count) => until(`${count} objects`, async () => (await artist.objects()).length === count);

/** Until this page has the object so far from where it was. */
const lies = (artist, { id, box: [left, top] }, dx, dy) => until(`an object moved by ${dx}, ${dy}`, async () => {
  const [x, y] = (await artist.objects()).find((object) => object.id === id).box;
  if (x !== left + 16 * dx || y !== top + 16 * dy) throw new Error(`${(x - left) / 16}, ${(y - top) / 16}`);
  return true;
});

async function chooseAndMove(one, other) {
  const [first, second] = await ofType(one, "ellipse");
  const [x, y] = middle(first), [toX, toY] = middle(second);
  await one.key("v");
  await one.page.mouse.click(x, y);
  assert.ok(await one.page.locator("#delete").isVisible(), "a click chooses");
  await one.drag([x, y], [x + 30, y + 10]);
  await lies(one, first, 30, 10);
  await one.shiftClick(toX, toY);
  await one.drag([toX, toY], [toX, toY + 20]);
  for (const artist of [one, other]) await lies(artist, first, 30, 30);
  await lies(other, second, 0, 20);
  await one.shiftClick(x + 30, y + 30);
  await one.key("Delete");
  await until("the end of what is still chosen", async () => {
    const left = [...await ofType(one, "ellipse"), ...await ofType(other, "ellipse")];
    return left.length === 2 && left.every(({ id }) => id === first.id);
  });
}

/** While one drags, another's move comes, and the answer to the drag before. */
async function dragAmongOthers(one, other) {
  const [mine] = await ofType(one, "ellipse"), [photo] = await ofType(one, "picture");
  const [x, y] = middle(mine);
  await one.holdAnswers("move");
  await one.drag([x, y], [x + 20, y]);
  await lies(one, mine, 20, 0);
  const fill = await pixel(one, [x + 20, y]);
  await one.page.mouse.move(x + 20, y);
  await one.page.mouse.down();
  await one.page.mouse.move(x + 20, y - 40, { steps: 3 });
  await other.key("v");
  await other.page.mouse.click(...middle(photo));
  await other.key("ArrowRight");
  await lies(one, photo, 1, 0);
  await one.letAnswersGo();
  assert.equal(await pixel(one, [x + 20, y - 70]), fill, "what is dragged stays under the hand");
  await one.page.mouse.up();
  await lies(other, mine, 20, -40);
}

/** A changed text is one step; one that is too long, or that cannot be changed now, stays under the hand. */
async function rewrite(one, other) {
  const texts = async (artist) => (await ofType(artist, "text")).map((object) => object.text);
  const shows = (artist, there, gone) => until(`"${there}" and no "${gone}"`, async () => {
    const all = await texts(artist);
    return all.includes(there) && !all.includes(gone);
  });
  const area = one.page.locator("#typing");
  await one.write([700, 120], "draft");
  await Promise.all([shows(one, "draft", "final"), shows(other, "draft", "final")]);
  const [old] = (await ofType(one, "text")).filter((object) => object.text === "draft");
  await one.key("v");
  await one.page.mouse.dblclick(...middle(old));
  await area.fill("é".repeat(2001));
  await area.press("Control+Enter");
  await one.page.locator("#toast", { hasText: "too long" }).waitFor();
  assert.equal((await area.inputValue()).length, 2001);
  await area.fill("final");
  await one.page.route("**/do", (route) => route.fulfill({ json: [[]] }));
  await area.press("Control+Enter");
  await one.page.locator("#toast", { hasText: "Not changed" }).waitFor();
  await area.waitFor();
  assert.equal(await area.inputValue(), "final");
  await one.page.unroute("**/do");
  await area.press("Control+Enter");
  await shows(other, "final", "draft");
  await one.key("Control+z");
  await shows(other, "draft", "final");
  await one.key("Control+z");
  await until("none of it", async () => ![...await texts(one), ...await texts(other)].includes("draft"));

  const held = [];
  await one.page.route("**/do", (route) => { held.push(route); });
  await one.write([700, 120], "alpha");
  await one.write([700, 200], "beta");
  await until("both asked for", () => held.filter((route) => route.request().postData().includes('"add"')).length === 2);
  for (const route of held) await route.fulfill({ json: [[]] });
  await one.page.unroute("**/do");
  for (const text of ["alpha", "beta"]) {
    await until(`"${text}" under the hand again`, async () => await area.isVisible() && await area.inputValue() === text);
    await area.press("Control+Enter");
  }
  await shows(other, "alpha", "draft");
  await shows(other, "beta", "draft");
  for (let i = 0; i < 2; i++) await one.key("Control+z");
  await until("neither", async () => !(await texts(other)).some((text) => ["alpha", "beta"].includes(text)));
}

/** A move past the edge of the numbers goes on at the other one, as where records are held. */
async function wrap(one) {
  const points = await one.page.evaluate(async () => {
    const { Model } = await import("/js/model.js");
    const model = new Model();
    model.add([{ id: 1, tag: 1, box: [-2147483640, 0, 8, 8], points: [0, 4] }]);
    model.place([[1, 2147483640, 0, -8, 8]]);
    return model.get(1).points;
  });
  assert.deepEqual(points, [-16, 4]);
}

/** A picture that does not come at first is asked for again, and what cannot be saved meanwhile is told. */
async function missPicture(one) {
  assert.deepEqual(one.problems, []);
  const isGrey = async () => await pixel(one, middle(photo)) === "236,239,244,255";
  await one.page.route("**/picture/*", (route) => route.abort());
  await one.page.reload();
  const [photo] = await until("the picture's object", async () => (await ofType(one, "picture")).length && ofType(one, "picture"));
  await until("a grey picture", isGrey);
  await one.key("Control+Shift+S");
  await one.page.locator("#toast", { hasText: "Not done" }).waitFor();
  await one.page.unroute("**/picture/*");
  await until("the picture after all", async () => !await isGrey());
  one.problems.length = 0;  // the browser's own words about it
}

async function clear(artist) {
  await artist.page.locator("#menu-button").click();
  await artist.page.locator("#clear").click();
  await artist.page.locator("#ask-clear .danger").click();
}

async function sizeOfPng(artist) {
  const coming = artist.page.waitForEvent("download");
  await artist.page.locator("#menu-button").click();
  await artist.page.locator("#save-png").click();
  const png = await readFile(await (await coming).path());
  assert.equal(png.toString("latin1", 0, 8), "\x89PNG\r\n\x1a\n");
  return [png.readUInt32BE(16), png.readUInt32BE(20)];
}

/** Another clears away what has been drawn before who drew it has the answer; nothing of it stays to be seen. */
async function clearAndSave(one, other) {
  const had = (await one.objects()).length;
  await clear(other);
  await holds(one, 0);
  await one.holdAnswers("add");
  await one.shape("r", [300, 300], [500, 400]);
  await holds(other, 1);
  assert.deepEqual(await sizeOfPng(other), [2 * (200 + 2 * 28), 2 * (100 + 2 * 28)], "with its lines and a margin");
  await clear(other);
  await holds(one, 0);
  await one.letAnswersGo();
  await one.page.locator("#welcome").waitFor();
  for (let i = 0; i < 2; i++) await other.key("Control+z");
  await holds(one, had + 1);
}

/** Objects lie in order however they come, and nothing is sorted while they come. */
async function keepInOrder(one) {
  const { order, onTop, looks } = await one.page.evaluate(async () => {
    const { Model } = await import("/js/model.js");
    let looks = 0;
    const at = (tag, id = tag) => ({ id, get tag() { looks++; return tag; } });
    const model = new Model();
    model.add([at(5), at(2)]);
    model.sorted();
    const onTop = [[at(8), at(7)], [at(3)], [at(4)]].map((objects) => model.add(objects));
    model.sorted();
    onTop.push(model.add([at(9, 2)]), model.sorted().length, model.add([at(9, 3), at(9, 8)]), model.sorted().length);
    const order = model.sorted().map((object) => object.id);
    looks = 0;
    for (let tag = 10; tag < 2010; tag++) model.add([at(tag)]);
    for (let tag = -1; tag > -2000; tag--) model.add([at(tag)]);
    return { order, onTop, looks };
  });
  assert.deepEqual(onTop, [true, false, false, false, 6, false, 6], "what comes anew, or below, is not on top");
  assert.deepEqual(order, [4, 5, 7, 2, 3, 8]);
  assert.ok(looks > 0 && looks <= 8 * 2000, `${looks} looks at tags`);
}

/** The page begins anew: what the program had taken is told again if it is there, and the rest has an answer to come. */
async function keepDrafts(one) {
  const sizes = await one.page.evaluate(async () => {
    const { Drafts } = await import("/js/drafts.js");
    const drafts = new Drafts(), [taken, early, late] = [{}, {}, {}], sizes = [];
    drafts.ask([taken]);
    drafts.answer([taken], [1], () => false);
    drafts.ask([early]);
    drafts.ask([late]);
    sizes.push(drafts.size);
    drafts.reset([2]);
    sizes.push(drafts.size);
    drafts.answer([early], [2], () => false);
    drafts.answer([late], [3], () => false);
    sizes.push([...drafts].map((draft) => draft.id));
    return [...sizes, drafts.came([3]), drafts.size];
  });
  assert.deepEqual(sizes, [3, 2, [3], true, 0]);
}

/** Gives how many objects there are then. */
export async function edit(one, other) {
  await keepInOrder(one);
  await keepDrafts(one);
  await chooseAndMove(one, other);
  await dragAmongOthers(one, other);
  await wrap(one);
  await rewrite(one, other);
  await missPicture(one);
  await clearAndSave(one, other);
  const count = (await one.objects()).length + 1;
  await one.page.evaluate((text) => fetch("/do", { method: "POST", body: JSON.stringify([{ do: "add",
    objects: [{ type: "text", colour: "#1c2330", width: 288, box: [6400, 9600, 8000, 9900], text }] }]) }), "a bell\x07\uffff");
  return count;
}
