// People draw together in real browsers: node whiteboard.mjs LUMO CHROMIUM MODULES OUT SCENARIO
import assert from "node:assert/strict";
import { createHash } from "node:crypto";
import { mkdir, readFile, writeFile } from "node:fs/promises";
import { createRequire } from "node:module";
import { access, fit } from "./access.mjs";
import { Artist } from "./artist.mjs";
import { edit } from "./editing.mjs";
import { handle } from "./hands.mjs";
import { BoardProcess, Relay, endAll, stopAll, tellAll, until } from "./processes.mjs";

const [lumo, executablePath, modules, out, scenario] = process.argv.slice(2);
const require = createRequire(`${modules}/`);
const { chromium } = require("playwright-core");
const EACH = 7;  // objects of one corner
const NAMES = ["Ada Quill", "<b>Ben</b>", "Cyril Ñandú", "Dora", "Emil & Co"];
const sum = (text) => createHash("sha256").update(text).digest("hex");

async function seats(browser, relay, path, count, more = []) {
  const sit = async (name, i) => Artist.sit(browser, await BoardProcess.start(lumo, relay, name, path, more), i);
  const first = await sit(NAMES[0], 0);
  await first.connected();  // directly it is everybody's host
  const artists = [first, ...await Promise.all(NAMES.slice(1, count).map((name, i) => sit(name, i + 1)))];
  await Promise.all(artists.map((artist) => artist.connected()));
  await Promise.all(artists.map((artist) => artist.sees(count)));
  return artists;
}

/** Every board the same: as the programs hold it, as the pages hold it, and to the eye. */
async function allEqual(artists, count) {
  const boards = await until("equal boards", async () => {
    const states = await Promise.all(artists.map(async ({ board }) => (await board.state()).objects));
    const equal = states.every((state) => state.length === count && JSON.stringify(state) === JSON.stringify(states[0]));
    if (!equal) throw new Error(`${states.map((state) => state.length)} objects instead of ${count}`);
    return states;
  });
  const ids = boards[0].map((object) => object.id);
  const pages = await until("equal pages", async () => {
    const all = await Promise.all(artists.map((artist) => artist.objects()));
    const have = (objects) => objects.length === count && ids.every((id) => objects.some((object) => object.id === id));
    return all.every((objects) => have(objects) && JSON.stringify(objects) === JSON.stringify(all[0])) && all;
  });
  const sums = new Set((await Promise.all(artists.map((artist) => artist.picture()))).map(sum));
  assert.equal(sums.size, 1, "the boards look different");
  return pages[0];
}

/** Every page shows the object where the arrow keys of all have taken it. */
async function allMoved(artists, { id, box: [left, top] }) {
  const by = (odd) => artists.reduce((sum, _, i) => sum + (i % 2 === odd ? 16 * (i + 1) : 0), 0);
  await until("what all have moved", async () => {
    const places = await Promise.all(artists.map(async (artist) => (await artist.objects()).find((one) => one.id === id).box));
    if (places.some(([x, y]) => x !== left + by(1) || y !== top + by(0))) throw new Error(places.join(" "));
    return true;
  });
}

/** Points there again and again: a page tells only so often where its pointer is. */
async function pointerSeen(artist, pointing, [x, y]) {
  await until("another's pointer", async () => {
    await pointing.page.mouse.move(x, y);
    const seen = await artist.page.evaluate(() => window.lumoBoard.pointers());
    return seen.some((one) => one.name === NAMES[pointing.number] && one.x === 16 * x && one.y === 16 * y);
  });
}

async function shot(artist, name) {
  await mkdir(out, { recursive: true });
  await artist.page.screenshot({ path: `${out}/${scenario}-${name}.png` });
}

async function drawAtOnce(browser, relay, path, count) {
  const artists = await seats(browser, relay, path, count);
  await Promise.all(artists.map((artist) => artist.drawCorner()));
  const drawn = await allEqual(artists, count * EACH);
  await artists[0].show(`${out}/photo.png`);
  await pointerSeen(artists[0], artists.at(-1), [520, 300]);
  await shot(artists[0], "drawn");

  // Everybody selects all and moves it, all at once; each takes away one thing of the others, and one thing back.
  await Promise.all(artists.map(async (artist, i) => {
    await artist.key("Control+a");
    for (let k = 0; k <= i; k++) await artist.key(i % 2 ? "ArrowRight" : "ArrowDown");
    await artist.key("Escape");
  }));
  await allMoved(artists, drawn.find((object) => object.type === "rectangle"));
  const before = await allEqual(artists, count * EACH + 1);
  const doomed = before.filter((object) => object.type === "rectangle").slice(0, count - 1);
  await Promise.all(artists.slice(1).map((artist, i) => artist.page.evaluate(
    (id) => fetch("/do", { method: "POST", body: JSON.stringify([{ do: "delete", ids: [id] }]) }), doomed[i].id)));
  await allEqual(artists, count * EACH + 1 - doomed.length);
  await artists[1].key("Control+z");
  const after = await allEqual(artists, count * EACH + 2 - doomed.length);
  const back = after.find((object) => !before.some((one) => one.id === object.id));  // two may have one tag
  assert.deepEqual(back.box, doomed[0].box, "what is taken back lies where it lay");
  await shot(artists.at(-1), "moved");
  return artists;
}

async function lateAndNarrow(browser, relay, path, artists, count) {
  const late = await Artist.sit(browser, await BoardProcess.start(lumo, relay, "Late", path), 4,
    { width: 390, height: 780 }, { hasTouch: true, isMobile: true });
  await late.connected();
  await allEqual([...artists, late], count);
  await late.page.locator("#zoom").click();
  await shot(late, "narrow");
  await late.touch();
  const files = await late.page.evaluate(async () => {
    const svg = await window.lumoBoard.svg();
    const image = new Image();
    image.src = `data:image/svg+xml,${encodeURIComponent(svg)}`;
    await image.decode();
    return { svg, width: image.naturalWidth };
  });
  assert.ok(files.width > 100 && files.svg.includes("Drawn by 2 &lt;&amp;&gt;</tspan>"), "the SVG is a picture with its texts");
  assert.ok(files.svg.includes("a bell</tspan>"), "and without what no SVG may contain");
  const crowd = late.page.locator("#crowd-list");
  assert.ok((await crowd.textContent()).includes(NAMES[1]) && await crowd.locator("b").count() === 0, "names are text");
  await writeFile(`${out}/${scenario}.svg`, files.svg);
  await late.page.close();
  assert.equal(await late.board.stop(), 0);
  await Promise.all(artists.map((artist) => artist.sees(artists.length)));
}

/** A page of another origin may ask what it likes. */
async function foreignPage(artists) {
  const [mine, other] = artists;
  const had = (await other.board.state()).objects.length;
  const answer = await mine.page.evaluate(async (url) => {
    const post = (headers) => fetch(`${url}do`, { method: "POST", mode: "no-cors", headers,
      body: JSON.stringify([{ do: "clear" }]) }).then((got) => got.type, () => "failed");
    return [await post({}), await post({ "Content-Type": "text/plain" })];
  }, other.board.url);
  assert.ok(answer.every((type) => type === "opaque" || type === "failed"));
  mine.problems.length = 0;  // the browser's own words about it
  assert.equal((await other.board.state()).objects.length, had, "a foreign page has cleared the board");
}

/** The relay goes and comes back with nothing: everything is offered to it again, and nothing leaves a page meanwhile. */
async function brokenRelay(browser, relay, artists) {
  const before = (await artists[0].board.state()).objects;
  await relay.stop("SIGKILL");
  await artists[0].page.locator("#status[data-state=wait]").waitFor({ timeout: 60000 });
  await artists[0].scribble(300, 650);
  await shot(artists[0], "offline");
  const again = await Relay.start(lumo, relay.port);
  let missed = 0;
  await until("the boards after the break", async () => {
    const shown = await Promise.all(artists.map((artist) => artist.objects()));
    missed += before.filter(({ id }) => !shown.every((objects) => objects.some((one) => one.id === id))).length;
    return shown.every((objects) => objects.length === before.length + 1);
  });
  assert.equal(missed, 0, "drawings have left the screen meanwhile");
  await Promise.all(artists.map((artist) => artist.connected()));
  await allEqual(artists, before.length + 1);
  await again.stop();
}

/** Who was the host goes; one of the guests takes his place with all that is on the board. */
async function hostLeaves(artists) {
  const held = (await artists[0].objects()).length;
  await artists[0].page.close();
  assert.equal(await artists[0].board.stop(), 0);
  const rest = artists.slice(1);
  await Promise.all(rest.map((artist) => artist.sees(rest.length)));
  await allEqual(rest, held);
  await rest[0].scribble(300, 650);
  await allEqual(rest, held + 1);
}

/** Two people, one of whom has no pointer, or little room, on pages below a token; at the end the relay goes. */
async function handsAndEyes(browser, relay, path) {
  const [one, other] = await seats(browser, relay, path, 2, ["--http-listen", "127.0.0.1"]);
  one.photo = `${out}/photo.png`;
  await handle(one, other);
  await access(one, other, await readFile(require.resolve("axe-core/axe.min.js"), "utf8"));
  assert.deepEqual([...one.problems, ...other.problems], []);
  await one.drawCorner();
  await one.key("Escape");
  await fit(one, shot, "connected");
  await relay.stop("SIGKILL");
  await one.page.locator("#notice", { hasText: "ot connected: what you draw is kept and sent later" }).waitFor({ timeout: 60000 });
  await one.key("Shift+n");
  await fit(one, shot, "offline");
}

async function makePhoto(browser) {
  const page = await browser.newPage({ viewport: { width: 320, height: 200 } });
  await page.setContent(`<body style="margin:0;background:linear-gradient(#8ec5fc,#f7f7d0 60%,#6a994e 61%,#386641)">
    <div style="position:absolute;left:220px;top:30px;width:50px;height:50px;border-radius:50%;background:#ffb703">`);
  await mkdir(out, { recursive: true });
  await page.screenshot({ path: `${out}/photo.png` });
  await page.close();
}

async function drawTogether(browser, relay, path, count) {
  const artists = await drawAtOnce(browser, relay, path, count);
  if (count === 2) await lateAndNarrow(browser, relay, path, artists, await edit(...artists));
  await foreignPage(artists);
  assert.deepEqual(artists.flatMap((artist) => artist.problems), []);
  if (path === "relay") await brokenRelay(browser, relay, artists);
  if (path === "p2p" && count > 2) await hostLeaves(artists);
}

const SCENARIOS = {
  relay2: ["relay", 2], p2p2: ["p2p", 2], p2p5: ["p2p", 5], hands: ["relay", 2],
};

const browser = await chromium.launch({ executablePath, args: ["--no-sandbox", "--disable-gpu"] });
try {
  const [path, count] = SCENARIOS[scenario];
  await makePhoto(browser);
  const relay = await Relay.start(lumo);
  if (scenario === "hands") await handsAndEyes(browser, relay, path);
  else await drawTogether(browser, relay, path, count);
  await browser.close();
  await endAll();
  console.log(`${scenario}: done by ${count}`);
} catch (error) {
  tellAll();
  throw error;
} finally {
  await browser.close();
  await stopAll();
}
