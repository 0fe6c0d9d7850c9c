// What the picture shows and where. The whole folder is a map: each folder a region, each document a circle that grows
// with the documents that link to it. A chosen document stands between those that link to it and those that it links to.

const LONGEST_LABEL = 28;
const MOST_REGIONS = 16;
// In a crowd only the strongest link of each document is always drawn; all of them would hide each other.
const CROWD = 25;
// A map is usually drawn at this scale, while its labels keep their size.
const USUAL_SCALE = 0.8;
// Steps in which documents find their places: most of the time until a picture is there.
const DOCUMENT_TICKS = 140;

function documentNode(each, narrow) {
  const broken = each.broken.length;
  const links = `${plural(each.into.size, "document")} ${each.into.size === 1 ? "links" : "link"} here, links to ${each.out.size}`;
  const whole = each.apart ? `${each.title} · ${each.apart}` : each.title;
  return {
    kind: "document", each, whole, told: each.told, label: cutMiddle(whole, LONGEST_LABEL, each.told), shape: broken ? "broken" : "document",
    radius: (4 + Math.min(11, 1.7 * Math.sqrt(each.into.size))) * (narrow ? 0.75 : 1), weight: each.into.size,
    about: `${cutMiddle(each.title, 200)}${each.apart ? `, ${each.apart}` : ""}, ${links}${broken ? `, ${plural(broken, "broken link")}` : ""}`,
  };
}

// The linked documents below a folder, not yet arranged; `linked`: how many there are, `isolated`: how many documents are
// in no link.
function mapOf(folder, chosen, { width, height, narrow }) {
  const inside = documents.filter((each) => isBelow(each.folder, folder));
  const linked = inside.filter((each) => !isIsolated(each));
  const most = Math.min(120, Math.max(25, Math.floor((width * height) / 4800)));
  const regions = regionsOf(linked, folder, narrow ? MOST_REGIONS / 2 : MOST_REGIONS);
  // What is broken is what the picture is asked for, so it goes first; what is linked most takes the other places.
  const broken = linked.filter((each) => each.broken.length);
  const first = new Set([...broken].sort((one, other) => other.broken.length - one.broken.length || byImportance(one, other)).slice(0, most));
  // A region's share grows with the root of its documents, so that small ones are seen beside large ones.
  const share = (most - first.size) / sum(regions, ({ members }) => Math.sqrt(members.length));
  for (const region of regions) {
    const [sure, others] = [region.members.filter((each) => first.has(each)), region.members.filter((each) => !first.has(each))];
    const quota = linked.length <= most ? Infinity : Math.max(2 - sure.length, Math.round(share * Math.sqrt(region.members.length)));
    const best = [...sure, ...others.sort(byImportance).slice(0, Math.max(0, quota))];
    if (chosen && region.members.includes(chosen) && !best.includes(chosen)) best.push(chosen);
    region.nodes = best.map((each) => Object.assign(documentNode(each, narrow), { region, chosen: each === chosen }));
  }
  const marks = regions.flatMap((region) => region.nodes);
  const nodes = [...regions.filter((region) => region.label !== null), ...marks];
  const edges = edgesAmong(marks);
  const between = linksBetween(regions, edges);
  const roads = marks.length > CROWD ? between.filter(({ strong }) => strong) : [];
  // Links that are drawn only when their mark is pointed at, and whether others have an end that is not drawn.
  const hidden = edges.some(({ extra }) => extra);
  const drawn = new Set(marks.map(({ each }) => each));
  const cutOff = marks.some(({ each }) => [...each.out.keys(), ...each.into.keys()].some((other) => !drawn.has(other)));
  return {
    isMap: true, regions, marks, nodes, edges, between, roads, hidden, cutOff, captions: [],
    linked: linked.length, isolated: inside.length - linked.length, broken: broken.length,
  };
}

// The folders that the map shows.
function regionsOf(linked, folder, most) {
  const regions = areasOf(linked, folder, most).map((area) => ({ kind: "folder", weight: Infinity, radius: 0, ...area }));
  const names = d3.rollup(regions, (same) => same.length, ({ label }) => label);
  for (const each of regions) {
    if (each.label !== null && names.get(each.label) > 1) each.label = each.folder.split("/").slice(-2).join("/");
    each.about = `Folder ${each.own ? each.label : each.folder}, ${plural(each.members.length, "linked document")}`;
  }
  return regions;
}

function edgesAmong(nodes) {
  const node = new Map(nodes.map((each) => [each.each, each]));
  const edges = [];
  for (const source of nodes) {
    const ends = [...source.each.out].filter(([other]) => node.has(other))
      .sort(([one, oneLines], [other, otherLines]) => otherLines.length - oneLines.length || byImportance(one, other));
    ends.forEach(([other, { length }], index) => {
      const both = other.out.has(source.each);
      if (both && other.number < source.each.number) return;
      const regions = [source.region, node.get(other).region];
      const crosses = regions[0] !== regions[1];
      edges.push({ source, target: node.get(other), both, count: length, extra: nodes.length > CROWD && (index >= 1 || crosses) });
    });
  }
  return edges;
}

// How many links there are between regions; `strong` is one that is among the two strongest of a region with a name.
function linksBetween(regions, edges) {
  const place = new Map(regions.map((region, index) => [region, index]));
  const between = new Map();
  for (const edge of edges) {
    const ends = [edge.source.region, edge.target.region];
    if (ends[0] === ends[1]) continue;
    const [source, target] = place.get(ends[0]) < place.get(ends[1]) ? ends : ends.reverse();
    const key = `${place.get(source)} ${place.get(target)}`;
    if (!between.has(key)) between.set(key, { source, target, count: 0, strong: false });
    between.get(key).count += edge.count;
  }
  const links = [...between.values()].sort((one, other) => other.count - one.count);
  for (const region of regions) {
    for (const link of links.filter(({ source, target }) => source === region || target === region).slice(0, 2)) {
      link.strong = link.source.label !== null && link.target.label !== null;
    }
  }
  return links;
}

// Regions find places beside those that they are linked with; then the documents, each inside its region.
function arrange({ regions, marks, edges, between }, { width, height }) {
  const area = Math.min(11000, (0.42 * width * height) / Math.max(6, marks.length));
  for (const region of regions) region.size = Math.sqrt((region.nodes.length * area) / Math.PI) + (regions.length > 1 ? 6 : 0);
  arrangeRegions(regions, between, height / width);
  arrangeDocuments(regions, marks, edges, Math.sqrt(area));
}

function arrangeRegions(regions, between, tall) {
  // The square of the shape makes regions fill it in both directions.
  const pull = (shape) => 0.09 * Math.min(4, Math.max(0.25, shape ** 2));
  d3.forceSimulation(regions)
    .force("links", d3.forceLink(between).distance(({ source, target }) => source.size + target.size + 20).strength(({ count }) => Math.min(0.4, count * 0.03)))
    .force("x", d3.forceX().strength(pull(tall)))
    .force("y", d3.forceY().strength(pull(1 / tall)))
    .force("apart", d3.forceCollide((region) => region.size + 15).iterations(6))
    .stop().tick(300);
}

// `near`: how far apart linked documents want to be.
function arrangeDocuments(regions, nodes, edges, near) {
  for (const { nodes: inside, size, x, y } of regions) {
    inside.forEach((node, index) => {
      const angle = node.each.number * 2.4;
      const away = size * Math.sqrt((index + 0.5) / inside.length) * 0.8;
      Object.assign(node, { x: x + away * Math.cos(angle), y: y + away * Math.sin(angle) });
    });
  }
  const keepInside = () => {
    for (const node of nodes) {
      const [dx, dy] = [node.x - node.region.x, node.y - node.region.y];
      const most = Math.max(1, node.region.size - node.radius - 3);
      const away = Math.hypot(dx, dy);
      if (away > most) Object.assign(node, { x: node.region.x + (dx * most) / away, y: node.region.y + (dy * most) / away });
    }
  };
  d3.forceSimulation(nodes)
    .force("links", d3.forceLink(edges.map(({ source, target }) => ({ source, target }))).distance(near)
      .strength(({ source, target }) => (source.region === target.region ? 0.08 : 0.01)))
    .force("apart", d3.forceManyBody().strength(-near * 1.6).distanceMax(near * 4))
    .force("x", d3.forceX(({ region }) => region.x).strength(0.06))
    .force("y", d3.forceY(({ region }) => region.y).strength(0.06))
    .force("collide", d3.forceCollide((node) => reachOf(node).aside + Math.min(9, near / 5)).iterations(2))
    .force("labels", roomForLabels(nodes))
    .force("inside", keepInside)
    .alphaDecay(1 - 0.001 ** (1 / DOCUMENT_TICKS)).stop().tick(DOCUMENT_TICKS);
}

// A force that moves marks off the places of the most important labels, below their marks.
function roomForLabels(nodes) {
  const sure = labelOrder(nodes).slice(0, SURE_LABELS);
  const halfWidths = new Map(sure.map((node) => [node, measure(node.label) / 2 / USUAL_SCALE + 2]));
  return () => {
    for (const [node, half] of halfWidths) {
      const [top, bottom] = [node.y + node.radius, node.y + node.radius + (LABEL_SIZE + 5) / USUAL_SCALE];
      for (const other of nodes) {
        if (other === node) continue;
        // A label below the other mark counts with it.
        const [wide, under] = [halfWidths.get(other) ?? other.radius, halfWidths.has(other) ? (LABEL_SIZE + 3) / USUAL_SCALE : 0];
        const aside = half + wide - Math.abs(other.x - node.x);
        const above = other.y + other.radius + under - top;
        const below = bottom - (other.y - other.radius);
        if (aside <= 0 || above <= 0 || below <= 0) continue;
        const step = Math.min(2, aside, above, below) / 2;
        const [x, y] = aside < Math.min(above, below) ? [other.x < node.x ? -step : step, 0] : [0, above < below ? -step : step];
        other.x += x;
        other.y += y;
        node.x -= x;
        node.y -= y;
      }
    }
  };
}

// A document in the middle: what links to it on the left, what it links to on the right, or above and below
// where the picture is narrow; `left` targets of broken links found no room.
function nearOf(chosen, { width, height, narrow }) {
  const outs = [...chosen.out].sort(([one, lines], [other, otherLines]) => otherLines.length - lines.length || byImportance(one, other));
  const ins = [...chosen.into].filter(([other]) => !chosen.out.has(other)).sort(([one], [other]) => byImportance(one, other));
  const targets = [...d3.group(chosen.broken, ({ target }) => target)];
  const rows = Math.max(3, Math.floor((height - 90) / 24));
  const half = Math.floor((rows - 2) / 2);
  const missing = targets.slice(0, Math.max(1, Math.floor((narrow ? half : rows) / 3)));
  const rightRoom = (narrow ? Math.max(half, rows - 2 - Math.min(ins.length, half)) : rows) - missing.length;
  const leftRoom = narrow ? Math.max(1, rows - 2 - Math.min(outs.length + missing.length, rightRoom + missing.length)) : rows;
  const centre = Object.assign(documentNode(chosen, narrow), { chosen: true, centre: true });
  centre.radius = Math.max(11, centre.radius);
  const make = (side) => ([each, lines]) => {
    const node = documentNode(each, narrow);
    return Object.assign(node, { side, count: lines.length, label: node.whole, radius: Math.min(9, node.radius) });
  };
  const left = ins.slice(0, leftRoom).map(make("left"));
  const right = outs.slice(0, Math.max(1, rightRoom)).map(make("right"));
  const gone = missing.map(([target, same]) => ({
    kind: "missing", shape: "missing", radius: 6, whole: target, label: cutMiddle(target, LONGEST_LABEL), side: "right", weight: 0,
    about: `Broken link to ${target}, line ${same.map(({ line }) => line).join(", ")}`, finding: same[0],
  }));
  const column = (nodes, x, middle, gap) => nodes.forEach((node, index) => Object.assign(node, { x, y: middle + (index - (nodes.length - 1) / 2) * gap }));
  if (narrow) {
    const all = left.length + right.length + gone.length + 3;
    const gap = Math.min(34, (height - 70) / all);
    const top = (height - all * gap) / 2 + gap;
    column(left, 78, top + ((left.length - 1) * gap) / 2, gap);
    Object.assign(centre, { x: 26, y: top + (left.length + 0.5) * gap, label: centre.whole, room: width - 26 - centre.radius - 16 });
    column([...right, ...gone], 78, top + (left.length + 2.5) * gap + ((right.length + gone.length - 1) * gap) / 2, gap);
  } else {
    const gap = (count) => Math.min(34, (height - 90) / Math.max(1, count));
    Object.assign(centre, { x: width / 2, y: height / 2 });
    column(left, width * 0.37, height / 2, gap(left.length));
    column([...right, ...gone], width * 0.63, height / 2, gap(right.length + gone.length));
  }
  for (const node of [...left, ...right, ...gone]) {
    node.room = narrow ? width - node.x - node.radius - 16 : width * 0.37 - node.radius - 18;
  }
  const edges = [
    ...left.map((source) => ({ source, target: centre, count: source.count })),
    ...right.map((target) => ({ source: centre, target, count: target.count, both: target.each.out.has(chosen) })),
    ...gone.map((target) => ({ source: centre, target, count: 1, missing: true })),
  ].map((edge) => ({ ...edge, arrow: true }));
  const side = (count, all) => (count < all ? `${count} of ${all.toLocaleString()}` : all.toLocaleString());
  const caption = (nodes, text, anchor) => nodes.length ? [{ x: nodes[0].x + (anchor === "end" ? 12 : -12), y: nodes[0].y - 20, text, anchor }] : [];
  const captions = [
    ...caption(left, `Link here: ${side(left.length, ins.length)}`, narrow ? "start" : "end"),
    ...caption(right, `Linked to: ${side(right.length, outs.length)}`, "start"),
  ];
  const nodes = [centre, ...left, ...right, ...gone];
  return { isMap: false, nodes, edges, roads: [], captions, left: targets.length - missing.length };
}
