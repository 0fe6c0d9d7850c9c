// The labels of the picture: how wide they are, and where there is room for them.

const LABEL_SIZE = 12;
// Marks make room for the labels of so many documents, the most linked.
const SURE_LABELS = 20;

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
  return ({ label, whole = label }, width, weight) => {
    if (measure(label, weight) <= width) return label;
    const key = `${weight} ${Math.floor(width)} ${whole}`;
    if (!known.has(key)) {
      let [text, length] = [label, label.length];
      while (length > 2 && measure(text, weight) > width) text = cutMiddle(whole, length -= 1);
      known.set(key, text);
    }
    return known.get(key);
  };
})();

const overlaps = (one, other) => one[0] < other[2] && one[2] > other[0] && one[1] < other[3] && one[3] > other[1];

// Finds places for labels, so that none overlaps another or a mark: { node, text, box }. Folders come first, then the
// documents that most others link to. `lit`: the nodes that are not faded, null for all.
function placeLabels(nodes, { isMap, lit, transform, width, height, narrow }) {
  const at = (node) => transform.apply([node.x, node.y]);
  const taken = nodes.filter((node) => node.kind !== "folder" && (lit?.has(node) ?? true)).map((node) => {
    const [x, y] = at(node);
    return { node, box: [x - node.radius, y - node.radius, x + node.radius, y + node.radius] };
  });
  const tall = LABEL_SIZE + 3;
  const shown = [];
  const order = [...nodes].sort((one, other) => (other.chosen ?? 0) - (one.chosen ?? 0) || other.weight - one.weight);
  const sure = SURE_LABELS + nodes.filter(({ kind }) => kind === "folder").length;
  for (const [rank, node] of order.entries()) {
    if (lit && !lit.has(node)) continue;
    const [x, y] = at(node);
    const bold = node.kind === "folder" || node.chosen ? 700 : 400;
    const space = node.room ?? (node.kind === "folder" ? Math.max(130, 2 * node.size * transform.k + 24) : node.centre ? width * 0.24 : Infinity);
    const free = (box) => box[0] >= 2 && box[2] <= width - 2 && box[1] >= 2 && box[3] <= height - 2 &&
      !taken.some((other) => other.node !== node && overlaps(box, other.box));
    const [gap, near, ring] = [node.radius + 4, node.radius * 0.8 + 1.5, node.kind === "folder" ? (node.size + 4) * transform.k : 0];
    let [text, box] = ["", null];
    // Where the whole label finds no room its two ends may; a name of one word is worth it for the most linked alone.
    for (const most of isMap && node.kind === "document" ? [space, 105, ...(rank < sure ? [70] : [])] : [space]) {
      text = fitted(node, most, bold);
      const wide = measure(text, bold) + 2;
      const places = node.kind === "folder"
        ? [[x - wide / 2, y - ring - tall], [x - wide / 2, y + ring + 1], [x + 2 - wide, y - ring - tall], [x - 2, y - ring - tall], [x - wide / 2, y - ring + 2]]
        : node.side === "left" && !narrow ? [[x - gap - wide, y - tall / 2]]
        : node.side || (node.centre && narrow) ? [[x + gap, y - tall / 2]]
        : [[x - wide / 2, y + gap - 2], [x + gap, y - tall / 2], [x - wide / 2, y - gap - tall + 2], [x - gap - wide, y - tall / 2],
          [x + near, y + near - 2], [x + near, y - near - tall + 2], [x - near - wide, y + near - 2], [x - near - wide, y - near - tall + 2]];
      box = places.map(([left, top]) => [left, top, left + wide, top + tall]).find(free);
      if (box) break;
    }
    if (!box) continue;
    taken.push({ node, box });
    shown.push({ node, text, box });
  }
  return shown;
}
