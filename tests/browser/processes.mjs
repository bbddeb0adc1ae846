// Servers and boards as processes of their own, on loopback.
import { spawn } from "node:child_process";
import { once } from "node:events";

const DEADLINE_MS = 60000;
const children = new Set();

/** Until `check` gives something; it is asked often, for there are no events of what goes on in other processes. */
export async function until(what, check, deadlineMs = DEADLINE_MS) {
  const end = Date.now() + deadlineMs;
  let last;
  for (;;) {
    try {
      last = await check();
      if (last) return last;
    } catch (error) {
      last = error;
    }
    if (Date.now() > end) throw new Error(`in vain: ${what} (${last instanceof Error ? last.message : JSON.stringify(last)})`);
    await new Promise((done) => setTimeout(done, 50));
  }
}

export class Process {
  constructor(program, words) {
    this.said = "";
    this.child = spawn(program, words, { stdio: ["ignore", "pipe", "pipe"] });
    this.words = words.join(" ");
    children.add(this);
    this.ended = once(this.child, "exit").then(() => children.delete(this));
    for (const stream of [this.child.stdout, this.child.stderr]) stream.on("data", (text) => { this.said += text; });
  }

  saying(pattern) {
    return until(`${pattern} of a process`, () => {
      if (this.child.exitCode !== null) throw new Error(`it has ended: ${this.said}`);
      return this.said.match(pattern);
    });
  }

  async stop(signal = "SIGTERM") {
    this.child.kill(signal);
    await this.ended;
    return this.child.exitCode;
  }
}

export class Relay extends Process {
  static async start(lumo, port = 0, more = ["--http", "off"]) {
    const relay = new Relay(lumo, ["mcu", "--listen", "127.0.0.1", "--port", String(port), ...more]);
    relay.port = Number((await relay.saying(/listening on [0-9.]+:([0-9]+)/))[1]);
    return relay;
  }
}

export class BoardProcess extends Process {
  static async start(lumo, relay, name, path, more = []) {
    const board = new BoardProcess(lumo, ["whiteboard", "--channel", "21", "--mcu", `127.0.0.1:${relay.port}`,
      "--path", path, "--name", name, "--json", ...more]);
    board.url = (await board.saying(/"url":"([^"]+)"/))[1];
    return board;
  }
  /** What the program itself has on its board. */
  async state() { return (await fetch(`${this.url}board`)).json(); }
}

/** Every process that still runs must end well when it is told to. */
export const endAll = () => Promise.all([...children].map(async (one) => {
  const code = await one.stop();
  if (code !== 0) throw new Error(`exit code ${code} of ${one.words}: ${one.said}`);
}));

export const stopAll = () => Promise.all([...children].map((one) => one.stop("SIGKILL")));

/** What they have said, for whoever looks for what went wrong. */
export function tellAll() {
  for (const one of children) console.error(`--- ${one.words}\n${one.said.slice(-2000)}`);
}
