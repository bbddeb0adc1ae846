// What goes to the program and what comes from it. Addresses are relative: the page may stand under any path.

const MOST_OBJECTS = 1000, MOST_NUMBERS = 400000;  // of one request

async function post(path, body) {
  const answer = await fetch(path, { method: "POST", body });
  if (!answer.ok) throw new Error((await answer.text()).trim());
  return answer.json();
}

/** Actions in order; gives the numbers of new objects, one list for each action. */
export const act = (...actions) => post("do", JSON.stringify(actions));

/** As many of the shapes at a time as the program takes. */
export function* portions(shapes) {
  let portion = [], numbers = 0;
  for (const shape of shapes) {
    const more = shape.points?.length ?? 0;
    if (portion.length > 0 && (portion.length === MOST_OBJECTS || numbers + more > MOST_NUMBERS)) {
      yield portion;
      [portion, numbers] = [[], 0];
    }
    portion.push(shape);
    numbers += more;
  }
  if (portion.length > 0) yield portion;
}

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
