// What goes to the program and what comes from it.

async function post(path, body) {
  const answer = await fetch(path, { method: "POST", body });
  if (!answer.ok) throw new Error((await answer.text()).trim());
  return answer.json();
}

/** Actions in order; gives the numbers of new objects, one list for each action. */
export const act = (...actions) => post("do", JSON.stringify(actions));

export const sendPicture = (blob, box) => post(`picture?box=${box.join(",")}`, blob);

/** Calls `on[type](event)` for each event and `on.lost()` when the program is not there; it comes back by itself. */
export function listen(on) {
  const source = new EventSource("events");
  source.onmessage = (message) => {
    const event = JSON.parse(message.data);
    on[event.type]?.(event);
  };
  source.onerror = () => {
    on.lost();
    // A refusal, unlike a loss, is not tried again by the browser.
    if (source.readyState === EventSource.CLOSED) setTimeout(() => listen(on), 2000);
  };
}
