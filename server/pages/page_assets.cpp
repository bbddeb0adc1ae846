#include "server/pages/page.h"

const char* const kPageStyle = R"css(
:root { color-scheme: light dark; --line: #8884; --rate: #2470c8; --loss: #c8502a; }
body { font: 15px/1.45 system-ui, sans-serif; margin: 0 auto; max-width: 60rem; padding: 1rem; }
h1 { font-size: 1.3rem; margin: 0; }
h2 { font-size: 1.05rem; margin: 0; }
header { border-bottom: 1px solid var(--line); margin-bottom: 1rem; }
section { border: 1px solid var(--line); border-radius: 6px; margin-bottom: 1rem; padding: .8rem 1rem; }
section p { margin: .3rem 0; }
table { border-collapse: collapse; width: 100%; font-variant-numeric: tabular-nums; }
th, td { text-align: left; padding: .15rem .6rem .15rem 0; border-top: 1px solid var(--line); }
th { font-weight: 600; }
figure { flex: 1 1 16rem; margin: 0; }
figcaption { font-size: .9em; }
.graphs { display: flex; flex-wrap: wrap; gap: 1rem; margin: .5rem 0; }
.graph { width: 100%; height: 3rem; background: #8881; }
.graph polyline { fill: none; stroke-width: 1.5; vector-effect: non-scaling-stroke; }
.rate polyline { stroke: var(--rate); }
.loss polyline { stroke: var(--loss); }
.quiet { opacity: .7; }
)css";

const char* const kPageScript = R"js(
"use strict";
// Takes the page anew and puts its two parts in place of the old ones; a server that is away leaves them as they are.
async function refresh() {
  try {
    const answer = await fetch("/", { cache: "no-store" });
    if (!answer.ok) return;
    const fresh = new DOMParser().parseFromString(await answer.text(), "text/html");
    for (const part of ["header", "main"]) {
      const now = document.querySelector(part);
      const next = fresh.querySelector(part);
      if (now && next) now.replaceWith(document.adoptNode(next));
    }
  } catch (error) {
    console.debug(error);
  }
}
setInterval(() => { if (!document.hidden) refresh(); }, 2000);
)js";
