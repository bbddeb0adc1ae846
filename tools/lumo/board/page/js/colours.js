// Colours: those to choose from, their names, and how they are seen on light and on dark paper.

export const COLOURS = [["Ink", "#1c2330"], ["Grey", "#868e96"], ["Red", "#e03131"], ["Orange", "#f08c00"], ["Green", "#2f9e44"],
  ["Blue", "#1971c2"], ["Violet", "#7048e8"], ["Pink", "#d6336c"]];

const channelsOf = (colour) => [1, 3, 5].map((i) => parseInt(colour.slice(i, i + 2), 16));
const colourOf = (channels) => "#" + channels.map((n) => Math.round(Math.min(255, Math.max(0, n))).toString(16)
  .padStart(2, "0")).join("");

/** A lighter tone, so that what is written upon it can be read. */
export const tint = (colour) => colourOf(channelsOf(colour).map((n) => 255 - (255 - n) * 0.22));

/** Relative luminance: 0 of black, 1 of white. */
function luminanceOf(colour) {
  const [r, g, b] = channelsOf(colour).map((n) => (n <= 10 ? n / 3294.6 : ((n / 255 + 0.055) / 1.055) ** 2.4));
  return 0.2126 * r + 0.7152 * g + 0.0722 * b;
}

/** Black or white, whichever is read better upon the colour: at 4.5 to 1 at least. */
export const inkOn = (colour) => (luminanceOf(colour) > 0.179 ? "#000000" : "#ffffff");

/** On dark paper light and dark change places, with their hues; what can be seen on either stays as it is. */
function onDark(colour) {
  const luminance = luminanceOf(colour);
  if (luminance > 0.12 && luminance < 0.5) return colour;
  const [r, g, b] = channelsOf(colour);
  return colourOf([r, g, b].map((n) => n + 255 - 2 * (0.2126 * r + 0.7152 * g + 0.0722 * b)));
}

/** The name of the colour to choose from that is nearest. */
export function nameOfColour(colour) {
  const far = (other) => Math.hypot(...channelsOf(other).map((n, i) => n - channelsOf(colour)[i]));
  return COLOURS.reduce((best, one) => (far(one[1]) < far(best[1]) ? one : best))[0];
}

export const LIGHT = { paper: "#fbfbfd", dot: "#d9dee7", missing: "#eceff4", accent: "#2f4de0", tone: (colour) => colour };
const DARK = { paper: "#15181e", dot: "#2c323d", missing: "#2a303a", accent: "#8ea2ff", tone: onDark };

const wish = matchMedia("(prefers-color-scheme: dark)");
/** How the page looks now. Saved boards are light, as everybody's records are. */
export const look = () => (wish.matches ? DARK : LIGHT);
export const onLook = (then) => wish.addEventListener("change", then);
