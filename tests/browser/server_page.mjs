// An operator looks at the server's page: node server_page.mjs LUMO CHROMIUM MODULES OUT SCENARIO
import assert from "node:assert/strict";
import { mkdir } from "node:fs/promises";
import { createRequire } from "node:module";
import { Process, Relay, endAll, stopAll, tellAll, until } from "./processes.mjs";

const [lumo, executablePath, modules, out] = process.argv.slice(2);
const { chromium } = createRequire(`${modules}/`)("playwright-core");
const SIZES = { desktop: { width: 1280, height: 900 }, phone: { width: 390, height: 844 } };
const LISTENERS = 12;

/** What would keep somebody from reading the page: as the browser has laid it out. */
function faultsOfLayout() {
  const faults = [];
  const wide = document.documentElement.scrollWidth - document.documentElement.clientWidth;
  if (wide > 0) faults.push(`${wide} px wider than the screen`);
  const luminance = (color) => {
    const parts = color.match(/[\d.]+/g).slice(0, 3).map((one) => one / 255);
    const linear = parts.map((one) => (one <= 0.04045 ? one / 12.92 : ((one + 0.055) / 1.055) ** 2.4));
    return 0.2126 * linear[0] + 0.7152 * linear[1] + 0.0722 * linear[2];
  };
  const backOf = (element) => {
    const color = element ? getComputedStyle(element).backgroundColor : "rgb(255, 255, 255)";
    return element && color.endsWith(", 0)") ? backOf(element.parentElement) : color;
  };
  const texts = "h1, h2, p, a, li, dt, dd, small, td, th, figcaption b, .key, .plot span";
  for (const element of document.querySelectorAll(texts)) {
    if (!element.checkVisibility()) continue;
    const [one, other] = [luminance(getComputedStyle(element).color), luminance(backOf(element))].sort((a, b) => b - a);
    const contrast = (one + 0.05) / (other + 0.05);
    if (contrast < 4.5) faults.push(`contrast ${contrast.toFixed(1)} of ${element.textContent.slice(0, 30)}`);
  }
  for (const graph of document.querySelectorAll(".graph")) {
    const title = graph.querySelector("figcaption b").textContent;
    const [top, bottom] = [...graph.querySelectorAll(".y span")].map((one) => one.getBoundingClientRect());
    const plot = graph.querySelector("svg").getBoundingClientRect();
    const fits = title && top.right <= plot.left && bottom.bottom <= plot.bottom + 2 && top.top >= plot.top - 2;
    const times = graph.querySelector(".x").textContent;
    if (!fits || plot.width < 150 || !times.endsWith("agonow")) faults.push(`axes of ${title}`);
  }
  return faults;
}

async function look(browser, url, size, scheme) {
  const context = await browser.newContext({ viewport: SIZES[size], colorScheme: scheme });
  const page = await context.newPage();
  const errors = [];
  page.on("pageerror", (error) => errors.push(error.message));
  page.on("console", (message) => { if (message.type() === "error") errors.push(message.text()); });
  await page.goto(url);
  assert.deepEqual(await page.evaluate(faultsOfLayout), [], `${size} ${scheme}`);
  await page.screenshot({ path: `${out}/server-page-${size}-${scheme}.png`, fullPage: true });
  return { page, errors, close: () => context.close() };
}

const shows = (page, text) => until(text, async () => (await page.textContent("body")).includes(text));

async function run(browser) {
  const relay = await Relay.start(lumo, 0, ["--http", "127.0.0.1:0", "--relay-to", "127.0.0.9"]);
  const url = (await relay.saying(/pages at (\S+)/))[1];
  const first = await look(browser, url, "desktop", "light");
  await shows(first.page, "All is well");
  const load = new Process(lumo, ["load", "audio", "--mcu", `127.0.0.1:${relay.port}`, "--seconds", "60",
    "--subscribers", String(LISTENERS)]);
  await shows(first.page, `${LISTENERS} listeners`);  // by itself
  const folded = first.page.locator("#streams details");
  await folded.evaluate((list) => { list.open = true; });  // as long as there were few
  await until("many folded", async () => (await folded.getAttribute("open")) === null);
  await folded.locator("summary").click();
  const asks = new Process(lumo, ["subscribe", "audio", "5", "--mcu", `127.0.0.2:${relay.port}`,
    "--near", `127.0.0.1:${relay.port}`, "--path", "relay", "--wait", "3", "-o", "/dev/null"]);
  await shows(first.page, "this server may not relay from there");
  await asks.ended;
  await shows(first.page, "Worth a look");  // with the next sample of the last hour
  assert.notEqual(await folded.getAttribute("open"), null, "what was unfolded stays so");
  for (const size of Object.keys(SIZES))
    for (const scheme of ["light", "dark"]) {
      const seen = await look(browser, url, size, scheme);
      assert.deepEqual(seen.errors, []);
      await seen.close();
    }
  assert.deepEqual(first.errors, []);
  await load.stop("SIGINT");
  await relay.stop();
  await shows(first.page, "The server does not answer");
  await first.close();
}

await mkdir(out, { recursive: true });
const browser = await chromium.launch({ executablePath, args: ["--no-sandbox"] });
try {
  await run(browser);
  await endAll();
} catch (error) {
  tellAll();
  console.error(error);
  process.exitCode = 1;
} finally {
  await stopAll();
  await browser.close();
}
