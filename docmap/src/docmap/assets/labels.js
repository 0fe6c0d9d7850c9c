// The labels of the picture: how wide they are, and where there is room for them.

const LABEL_SIZE = 12;
// Marks make room for the labels of so many documents, the most linked.
const SURE_LABELS = 20;
// So many of the most linked come before all other documents, and so many with broken links before the rest.
const [MOST_CENTRAL, BROKEN_SOON] = [5, 10];
// So many pixels of a label may lie in a folder that is not its own.
const MOST_INSIDE = 8;

const measure = (() => {
  const context = document.createElement("canvas").getContext("2d");
  const widths = new Map();
  return (text, weight = 400) => {
    const key = `${weight} ${text}`;
    if (!widths.has(key)) {
      context.font = `${weight} ${LABEL_SIZE}px system-ui, sans-serif`;
      widths.set(key, context.measureText(text).width);
    }
    return widths.get(key);
  };
})();

// The label of a mark, so much of its middle left out that it is no wider than so many pixels.
const fitted = (() => {
  const known = new Map();
  return ({ label, whole = label, told }, width, weight) => {
    if (measure(label, weight) <= width) return label;
    const key = `${weight} ${Math.floor(width)} ${whole}`;
    if (!known.has(key)) {
      let [text, length] = [label, label.length];
      while (length > 2 && measure(text, weight) > width) text = cutMiddle(whole, length -= 1, told);
      known.set(key, text);
    }
    return known.get(key);
  };
})();

// All ways around a mark, for labels that should find a place.
const AROUND = d3.range(32).map((step) => [Math.cos((step * Math.PI) / 16), Math.sin((step * Math.PI) / 16)].map((part) => Math.max(-1, Math.min(1, part * 1.3))));

// How far a mark reaches; a triangle does not lie in the middle of its height.
function reachOf({ shape, radius }) {
  return shape === "broken" ? { aside: 1.6 * radius, above: 1.85 * radius, below: 0.95 * radius } : { aside: radius, above: radius, below: radius };
}

const overlaps = (one, other) => one[0] < other[2] && one[2] > other[0] && one[1] < other[3] && one[3] > other[1];

// Folders come first, then the few documents that most others link to, then a few with broken links.
function labelOrder(nodes) {
  const byWeight = nodes.filter(({ kind }) => kind !== "folder").sort((one, other) => other.weight - one.weight);
  const broken = byWeight.filter(({ shape }) => shape === "broken").slice(0, BROKEN_SOON);
  const folders = nodes.filter(({ kind }) => kind === "folder");
  return [...new Set([...nodes.filter(({ chosen }) => chosen), ...folders, ...byWeight.slice(0, MOST_CENTRAL), ...broken, ...byWeight])];
}

// Finds places for labels, so that none overlaps another or a mark: { node, text, box }. `lit`: the nodes that are not
// faded, null for all.
function placeLabels(nodes, { isMap, lit, transform, width, height, narrow }) {
  const at = (node) => transform.apply([node.x, node.y]);
  const taken = nodes.filter((node) => node.kind !== "folder" && (lit?.has(node) ?? true)).map((node) => {
    const [x, y] = at(node);
    const { aside, above, below } = reachOf(node);
    return { node, box: [x - aside, y - above, x + aside, y + below] };
  });
  const tall = LABEL_SIZE + 3;
  const shown = [];
  const folders = nodes.filter(({ kind }) => kind === "folder");
  const order = labelOrder(nodes);
  const sure = SURE_LABELS + folders.length;
  // A label in a folder that its mark is not in would seem to say what is there.
  const misleads = (node, [left, top, right, bottom]) => folders.some((folder) => {
    if (folder === node.region) return false;
    const [x, y] = at(folder);
    const [dx, dy] = [x - Math.min(right, Math.max(left, x)), y - Math.min(bottom, Math.max(top, y))];
    return Math.hypot(dx, dy) < (folder.size + 4) * transform.k - MOST_INSIDE;
  });
  for (const [rank, node] of order.entries()) {
    if (lit && !lit.has(node)) continue;
    const [x, y] = at(node);
    const bold = node.kind === "folder" || node.chosen ? 700 : 400;
    const space = node.room ?? (node.kind === "folder" ? Math.max(130, 2 * node.size * transform.k + 24) : node.centre ? width * 0.24 : Infinity);
    const free = (box) => box[0] >= 2 && box[2] <= width - 2 && box[1] >= 2 && box[3] <= height - 2 &&
      !taken.some((other) => other.node !== node && overlaps(box, other.box));
    const { aside, above, below } = reachOf(node);
    const gap = aside + (node.shape === "broken" ? 2 : 4);
    const [near, ring] = [aside * 0.8 + 1.5, node.kind === "folder" ? (node.size + 4) * transform.k : 0];
    let [text, box] = ["", null];
    // Where the whole label finds no room its two ends may; a name of one word is worth it for the most linked alone.
    const inMap = isMap && node.kind === "document";
    const widths = inMap ? [space, 105, ...(rank < sure ? [70] : [])] : [space];
    // Of the most linked a misleading label is better than none.
    const tries = inMap ? [true, ...(rank < sure || lit ? [false] : [])].flatMap((clear) => widths.map((most) => [most, clear])) : [[space, false]];
    for (const [most, clear] of tries) {
      text = fitted(node, most, bold);
      const wide = measure(text, bold) + 2;
      const places = node.kind === "folder"
        ? [[x - wide / 2, y - ring - tall], [x - wide / 2, y + ring + 1], [x + 2 - wide, y - ring - tall], [x - 2, y - ring - tall], [x - wide / 2, y - ring + 2]]
        : node.side === "left" && !narrow ? [[x - gap - wide, y - tall / 2]]
        : node.side || (node.centre && narrow) ? [[x + gap, y - tall / 2]]
        : [[x - wide / 2, y + below + 2], [x + gap, y - tall / 2], [x - wide / 2, y - above - tall - 2], [x - gap - wide, y - tall / 2],
          [x + near, y + near - 2], [x + near, y - near - tall + 2], [x - near - wide, y + near - 2], [x - near - wide, y - near - tall + 2],
          ...[x + gap, x - gap - wide].flatMap((left) => [[left, y - tall / 2 - 5], [left, y - tall / 2 + 5]]),
          ...(rank < sure ? AROUND.map(([across, down]) => [x + across * (aside + 2 + wide / 2) - wide / 2, y + down * (above + 2 + tall / 2) - tall / 2]) : [])];
      box = places.map(([left, top]) => [left, top, left + wide, top + tall]).find((place) => free(place) && !(clear && misleads(node, place)));
      if (box) break;
    }
    if (!box) continue;
    taken.push({ node, box });
    shown.push({ node, text, box });
  }
  return shown;
}
