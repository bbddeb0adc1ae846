// One person at a page: draws with the mouse and the keyboard, as people do.
import assert from "node:assert/strict";
import { until } from "./processes.mjs";

export class Artist {
  constructor(board, page, number) {
    Object.assign(this, { board, page, number, problems: [] });
    page.on("pageerror", (error) => this.problems.push(String(error)));
    page.on("console", async (message) => {
      if (message.type() !== "error") return;
      const picture = message.location().url.match(/\/picture\/(.+)$/)?.[1];
      // Another may take it away before this page has fetched it.
      if (picture && !(await this.objects().catch(() => [])).some(({ id }) => String(id) === picture)) return;
      this.problems.push(message.text());
    });
  }

  static async sit(browser, board, number, size = { width: 1180, height: 760 }, more = {}) {
    const context = await browser.newContext({ viewport: size, ...more });
    const artist = new Artist(board, await context.newPage(), number);
    await artist.page.goto(board.url);
    return artist;
  }

  connected() { return this.page.locator("#status[data-state=on]").waitFor({ timeout: 60000 }); }
  sees(people) { return this.page.locator("#people", { hasText: `${people} here` }).waitFor({ timeout: 60000 }); }
  key(key) { return this.page.keyboard.press(key); }
  objects() { return this.page.evaluate(() => window.lumoBoard.objects()); }
  picture() { return this.page.evaluate(() => window.lumoBoard.picture()); }

  async drag(...points) {
    const [[x, y], ...rest] = points;
    await this.page.mouse.move(x, y);
    await this.page.mouse.down();
    for (const [toX, toY] of rest) await this.page.mouse.move(toX, toY, { steps: 3 });
    await this.page.mouse.up();
  }

  async shiftClick(x, y) {
    await this.page.keyboard.down("Shift");
    await this.page.mouse.click(x, y);
    await this.page.keyboard.up("Shift");
  }

  /** The page gets no answer to such an action, which is done, before `letAnswersGo`. */
  holdAnswers(action) {
    return this.page.evaluate((start) => {
      const real = window.fetch, gone = new Promise((done) => { window.letAnswersGo = done; });
      window.fetch = async (path, more) => {
        const answer = await real(path, more);
        if (typeof more?.body === "string" && more.body.startsWith(start)) await gone;
        return answer;
      };
    }, `[{"do":"${action}"`);
  }
  letAnswersGo() {
    return this.page.evaluate(async () => {
      window.letAnswersGo();
      await new Promise((done) => requestAnimationFrame(() => requestAnimationFrame(done)));
    });
  }

  async scribble(x, y, turns = 12) {
    await this.key("p");
    await this.drag(...Array.from({ length: turns }, (_, i) => [x + i * 12, y + 22 * Math.sin(i * 0.9)]));
  }

  async shape(key, from, to) {
    await this.key(key);
    await this.drag(from, to);
  }

  /** A dot, a line that is chosen and deleted, and a pinch that draws nothing; all of it as fingers do it. */
  async touch() {
    const before = (await this.objects()).length, blank = await this.picture();
    const session = await this.page.context().newCDPSession(this.page);
    const fingers = (type, ...points) => session.send("Input.dispatchTouchEvent",
      { type, touchPoints: points.map(([x, y], id) => ({ x, y, id })) });
    const drawn = (count) => until(`${count} objects drawn by touch`, async () => {
      const now = (await this.objects()).length - before;
      if (now !== count) throw new Error(`${now}`);
      return true;
    });
    await this.page.locator("#tools [data-tool=pen]").tap();
    await this.page.touchscreen.tap(60, 180);
    await drawn(1);
    assert.notEqual(await this.picture(), blank, "a dot is seen");
    const zoom = await this.page.locator("#zoom").textContent();
    await fingers("touchStart", [120, 460]);
    await fingers("touchMove", [130, 470]);
    await fingers("touchStart", [130, 470], [220, 460]);
    for (let i = 1; i <= 5; i++) await fingers("touchMove", [130 - i * 6, 470], [220 + i * 6, 460]);
    await fingers("touchEnd");
    assert.notEqual(await this.page.locator("#zoom").textContent(), zoom, "two fingers scale the view");
    await fingers("touchStart", [100, 500]);
    for (let i = 1; i <= 5; i++) await fingers("touchMove", [100 + i * 20, 500 + i * 4]);
    await fingers("touchEnd");
    await drawn(2);
    await this.page.locator("#tools [data-tool=select]").tap();
    await this.page.touchscreen.tap(160, 512);
    await this.page.locator("#delete").tap();
    await drawn(1);
    for (const left of [2, 1, 0]) {
      await this.page.locator("#undo").tap();
      await drawn(left);
    }
  }

  async write(at, text) {
    await this.key("t");
    await this.page.mouse.click(...at);
    await this.page.keyboard.type(text);
    await this.key("Control+Enter");
  }

  async show(path) {
    await this.page.locator("#file").setInputFiles(path);
    await until("the picture on the board", async () => (await this.objects()).some((one) => one.type === "picture"));
  }

  /** A corner of the paper of one's own, with one of each kind. */
  async drawCorner() {
    const x = 90 + (this.number % 3) * 360, y = 90 + Math.floor(this.number / 3) * 290;
    await this.key(String(this.number + 3));
    await this.shape("r", [x, y], [x + 150, y + 84]);
    await this.key("f");
    await this.shape("e", [x + 180, y], [x + 310, y + 84]);
    await this.key("f");
    await this.shape("a", [x + 20, y + 120], [x + 130, y + 170]);
    await this.shape("l", [x + 160, y + 170], [x + 310, y + 120]);
    await this.shape("m", [x + 10, y + 214], [x + 190, y + 214]);
    await this.scribble(x + 160, y + 146);
    await this.write([x + 16, y + 192], `Drawn by ${this.number + 1}${this.number === 1 ? " <&>" : ""}`);
  }
}
