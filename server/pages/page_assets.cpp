#include "server/pages/page.h"

const char* const kPageStyle = R"css(
:root {
  color-scheme: light dark;
  --back: #f6f7f9; --card: #fff; --text: #1b1f24; --quiet: #59636e; --line: #d5dae0;
  --a: #1f6fc4; --b: #8a5a00; --warn: #c0392b; --good: #1a7f37; --look: #9a6700; --bad: #c0202d;
}
@media (prefers-color-scheme: dark) {
  :root {
    --back: #101418; --card: #191f25; --text: #e4e8ec; --quiet: #9aa5b1; --line: #333c46;
    --a: #6cb0f5; --b: #e0b050; --warn: #ff8a73; --good: #56c271; --look: #e3b341; --bad: #ff7b72;
  }
}
* { box-sizing: border-box; }
body { background: var(--back); color: var(--text); font: 15px/1.45 system-ui, sans-serif; margin: 0 auto;
  max-width: 72rem; padding: 1rem; }
h1 { font-size: 1.3rem; margin: 0; }
h2 { font-size: 1.05rem; margin: 0 0 .5rem; }
h3 { font-size: 1rem; margin: 0; }
p { margin: .3rem 0; overflow-wrap: anywhere; }
a { color: var(--a); }
header { align-items: baseline; display: flex; flex-wrap: wrap; gap: .2rem 1rem; margin-bottom: .8rem; }
section, .tiles > div { background: var(--card); border: 1px solid var(--line); border-radius: 8px; }
section { margin-bottom: .8rem; padding: .8rem 1rem; }
#verdict { border-left: 6px solid var(--good); }
#verdict h2 { color: var(--good); font-size: 1.2rem; margin: 0; }
#verdict.look { border-color: var(--look); }
#verdict.look h2 { color: var(--look); }
#verdict.bad { border-color: var(--bad); }
#verdict.bad h2 { color: var(--bad); }
#verdict ul { margin: .3rem 0 0; padding-left: 1.2rem; }
#away { background: var(--bad); border-radius: 8px; color: var(--card); font-weight: 600; padding: .8rem 1rem; }
.tiles { display: grid; gap: .8rem; grid-template-columns: repeat(2, 1fr); margin: 0 0 .8rem; }
@media (min-width: 44rem) { .tiles { grid-template-columns: repeat(4, 1fr); } }
.tiles > div { padding: .6rem .8rem; }
dt { color: var(--quiet); font-size: .9em; }
dd { font-size: 1.35rem; font-variant-numeric: tabular-nums; margin: 0; }
dd small { color: var(--quiet); display: block; font-size: .8rem; }
article { border-top: 1px solid var(--line); padding: .7rem 0; }
.wide { overflow-x: auto; }
table { border-collapse: collapse; font-variant-numeric: tabular-nums; width: 100%; }
th, td { border-top: 1px solid var(--line); padding: .2rem .8rem .2rem 0; text-align: left; vertical-align: top; }
th { color: var(--quiet); font-weight: 600; }
summary { cursor: pointer; }
.graphs { display: grid; gap: .8rem 1.4rem; grid-template-columns: repeat(auto-fill, minmax(min(17rem, 100%), 1fr)); }
article .graphs { margin: .5rem 0; }
.graph { margin: 0; min-width: 0; }
.key { color: var(--quiet); font-size: .9em; margin-left: .5rem; white-space: nowrap; }
.key::before { background: currentColor; content: ""; display: inline-block; height: .2em; margin-right: .3em;
  vertical-align: middle; width: 1em; }
.key.a::before { background: var(--a); }
.key.b::before { background: var(--b); }
.key.warn::before { background: var(--warn); }
.plot { color: var(--quiet); display: grid; font-size: .75rem; gap: .1rem .4rem; grid-template-columns: 4.2rem 1fr; }
.y { display: flex; flex-direction: column; font-variant-numeric: tabular-nums; justify-content: space-between;
  line-height: 1; text-align: right; }
.x { display: flex; grid-column: 2; justify-content: space-between; line-height: 1.2; }
.plot svg { border-bottom: 1px solid var(--quiet); border-left: 1px solid var(--quiet); height: 5rem; overflow: visible;
  width: 100%; }
.plot polyline, .grid { fill: none; stroke-width: 1.6; vector-effect: non-scaling-stroke; }
.grid { stroke: var(--line); stroke-width: 1; }
polyline.a { stroke: var(--a); }
polyline.b { stroke: var(--b); }
polyline.warn { stroke: var(--warn); }
.quiet { color: var(--quiet); }
)css";

const char* const kPageScript = R"js(
"use strict";
// Takes the page anew and puts its two parts in place of the old ones; a server that is away leaves them as they are,
// under a line that says so.
let heard = new Date();
const byHand = new Map();  // lists that somebody has opened or closed: the others are as the server says
document.addEventListener("click", (event) => {
  const list = event.target.closest("summary")?.parentElement;
  if (list) byHand.set(list.id, !list.open);
});
async function refresh() {
  const away = document.getElementById("away");
  try {
    const answer = await fetch("/", { cache: "no-store", signal: AbortSignal.timeout(10000) });
    if (!answer.ok) throw new Error(answer.statusText);
    const fresh = new DOMParser().parseFromString(await answer.text(), "text/html");
    for (const [id, open] of byHand) {
      const next = fresh.getElementById(id);
      if (next) next.open = open;
      else byHand.delete(id);
    }
    for (const part of ["header", "main"]) {
      const now = document.querySelector(part);
      const next = fresh.querySelector(part);
      if (now && next) now.replaceWith(document.adoptNode(next));
    }
    heard = new Date();
    away.hidden = true;
  } catch (error) {
    console.debug(error);
    away.textContent = `The server does not answer. What stands below is of ${heard.toLocaleTimeString()}.`;
    away.hidden = false;
  }
}
let busy = false;
setInterval(async () => {
  if (document.hidden || busy) return;
  busy = true;
  await refresh();
  busy = false;
}, 2000);
)js";
