// The picture of links. The whole folder is a map: each folder a region, each document a circle that grows with the
// documents that link to it. A chosen document stands between those that link to it and those that it links to.

const LABEL_SIZE = 12;
const LONGEST_LABEL = 28;
const MOST_REGIONS = 16;
// In a crowd only the strongest link of each document is always drawn; all of them would hide each other.
const CROWD = 25;
// Marks make room for the labels of so many documents, the most linked.
const SURE_LABELS = 20;
// A map is usually drawn at this scale, while its labels keep their size.
const USUAL_SCALE = 0.8;

const shapes = {
  document: (radius) => d3.symbol(d3.symbolCircle, Math.PI * radius ** 2)(),
  broken: (radius) => d3.symbol(d3.symbolTriangle, 4.4 * radius ** 2)(),
  missing: (radius) => `M${-radius},${-radius}L${radius},${radius}M${-radius},${radius}L${radius},${-radius}`,
};

const measure = (() => {
  const context = document.createElement("canvas").getContext("2d");
  return (text, weight = 400) => {
    context.font = `${weight} ${LABEL_SIZE}px system-ui, sans-serif`;
    return context.measureText(text).width;
  };
})();

// The beginning of a text that is no wider than so many pixels.
function fitted(text, width, weight) {
  if (measure(text, weight) <= width) return text;
  let length = text.length;
  while (length > 1 && measure(`${text.slice(0, length)}…`, weight) > width) length -= 1;
  return `${text.slice(0, length).trimEnd()}…`;
}

const overlaps = (one, other) => one[0] < other[2] && one[2] > other[0] && one[1] < other[3] && one[3] > other[1];

class Picture {
  // `open` gets what the user activates: { document } or { folder }, paths both.
  constructor(svg, open) {
    Object.assign(this, { svg: d3.select(svg), open, nodes: [], edges: [] });
    const marker = this.svg.append("defs").append("marker").attr("id", "arrow").attr("viewBox", "0 0 8 8")
      .attr("refX", 7).attr("refY", 4).attr("markerWidth", 8).attr("markerHeight", 8).attr("markerUnits", "userSpaceOnUse")
      .attr("orient", "auto-start-reverse");
    marker.append("path").attr("d", "M0,0 L8,4 L0,8 z");
    this.moved = this.svg.append("g");
    this.labelled = this.svg.append("g").attr("class", "labels").attr("aria-hidden", "true");
    this.transform = d3.zoomIdentity;
    this.zoom = d3.zoom().scaleExtent([0.5, 12])
      // One finger and the plain wheel of a page that scrolls belong to the page.
      .filter((event) => !event.button && (event.touches ? event.touches.length > 1 : event.type !== "wheel" || event.ctrlKey || !this.scrolls()))
      .on("zoom", ({ transform }) => { this.transform = transform; this.place(); });
    this.svg.call(this.zoom).on("dblclick.zoom", null);
    svg.addEventListener("keydown", (event) => this.pressed(event));
    new ResizeObserver(() => this.resized()).observe(svg);
  }

  scrolls() {
    return document.documentElement.scrollHeight > innerHeight + 1;
  }

  size() {
    const { width, height } = this.svg.node().getBoundingClientRect();
    return { width: Math.max(width, 200), height: Math.max(height, 200) };
  }

  isNarrow() {
    return this.size().width < 520;
  }

  resized() {
    const { width, height } = this.size();
    if (!this.again || (Math.abs(width - this.drawnFor.width) < 2 && Math.abs(height - this.drawnFor.height) < 2)) return;
    this.again();
  }

  // --- what is drawn -----------------------------------------------------------------------------------------------

  documentNode(each) {
    const broken = each.broken.length;
    const links = `${plural(each.into.size, "document")} ${each.into.size === 1 ? "links" : "link"} here, links to ${each.out.size}`;
    return {
      kind: "document", each, label: cut(each.title, LONGEST_LABEL), shape: broken ? "broken" : "document",
      radius: (4 + Math.min(11, 1.7 * Math.sqrt(each.into.size))) * (this.isNarrow() ? 0.75 : 1), weight: each.into.size,
      about: `${cut(each.title, 200)}, ${links}${broken ? `, ${plural(broken, "broken link")}` : ""}`,
    };
  }

  // The linked documents below a folder. Returns how many of them there are, are drawn, and are in no link.
  showMap(folder, chosen) {
    this.again = () => this.showMap(folder, chosen);
    const inside = documents.filter((each) => isBelow(each.folder, folder));
    const linked = inside.filter((each) => !isIsolated(each));
    const { width, height } = this.size();
    const most = Math.min(120, Math.max(25, Math.floor((width * height) / 4800)));
    const regions = this.regions(linked, folder, this.isNarrow() ? MOST_REGIONS / 2 : MOST_REGIONS);
    // A region's share grows with the root of its documents, so that small ones are seen beside large ones.
    const share = most / sum(regions, ({ members }) => Math.sqrt(members.length));
    for (const region of regions) {
      const quota = linked.length <= most ? Infinity : Math.max(2, Math.round(share * Math.sqrt(region.members.length)));
      const best = [...region.members].sort(byImportance).slice(0, quota);
      if (chosen && region.members.includes(chosen) && !best.includes(chosen)) best.push(chosen);
      region.nodes = best.map((each) => Object.assign(this.documentNode(each), { region, chosen: each === chosen }));
    }
    const nodes = regions.flatMap((region) => region.nodes);
    this.edges = this.edgesAmong(nodes);
    this.roads = [];
    this.arrange(regions, nodes, width, height);
    const named = regions.filter((region) => region.label !== null);
    this.captions = [];
    this.draw([...named, ...nodes], true);
    return { linked: linked.length, drawn: nodes.length, isolated: inside.length - linked.length };
  }

  regions(linked, folder, most) {
    const regions = areasOf(linked, folder, most).map((area) => ({ kind: "folder", weight: Infinity, radius: 0, ...area }));
    const names = d3.rollup(regions, (same) => same.length, ({ label }) => label);
    for (const each of regions) {
      if (each.label !== null && names.get(each.label) > 1) each.label = each.folder.split("/").slice(-2).join("/");
      each.about = `Folder ${each.own ? each.label : each.folder}, ${plural(each.members.length, "linked document")}`;
    }
    return regions;
  }

  edgesAmong(nodes) {
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

  // Regions find places beside those that they are linked with; then the documents, each inside its region.
  arrange(regions, nodes, width, height) {
    const total = Math.max(6, nodes.length);
    const area = Math.min(11000, (0.42 * width * height) / total);
    for (const region of regions) region.size = Math.sqrt((region.nodes.length * area) / Math.PI) + (regions.length > 1 ? 6 : 0);
    const between = new Map();
    for (const edge of this.edges) {
      const ends = [edge.source.region, edge.target.region];
      if (ends[0] === ends[1]) continue;
      const [source, target] = regions.indexOf(ends[0]) < regions.indexOf(ends[1]) ? ends : ends.reverse();
      const key = `${regions.indexOf(source)} ${regions.indexOf(target)}`;
      if (!between.has(key)) between.set(key, { source, target, count: 0 });
      between.get(key).count += edge.count;
    }
    const links = [...between.values()];
    const tall = height / width;
    const strongest = new Map(regions.map((region) => [region, links.filter(({ source, target }) => source === region || target === region)
      .sort((one, other) => other.count - one.count).slice(0, 2)]));
    this.roads = links.filter((link) => link.source.label !== null && link.target.label !== null &&
      (strongest.get(link.source).includes(link) || strongest.get(link.target).includes(link)));
    d3.forceSimulation(regions)
      .force("links", d3.forceLink(links).distance(({ source, target }) => source.size + target.size + 20).strength(({ count }) => Math.min(0.4, count * 0.03)))
      .force("x", d3.forceX().strength(0.09 * Math.min(2.5, Math.max(0.4, tall))))
      .force("y", d3.forceY().strength(0.09 * Math.min(2.5, Math.max(0.4, 1 / tall))))
      .force("apart", d3.forceCollide((region) => region.size + 15).iterations(6))
      .stop().tick(300);
    for (const node of nodes) {
      const angle = node.each.number * 2.4;
      const away = node.region.size * Math.sqrt((node.region.nodes.indexOf(node) + 0.5) / node.region.nodes.length) * 0.8;
      Object.assign(node, { x: node.region.x + away * Math.cos(angle), y: node.region.y + away * Math.sin(angle) });
    }
    const near = Math.sqrt(area);
    const keepInside = () => {
      for (const node of nodes) {
        const [dx, dy] = [node.x - node.region.x, node.y - node.region.y];
        const most = Math.max(1, node.region.size - node.radius - 3);
        const away = Math.hypot(dx, dy);
        if (away > most) Object.assign(node, { x: node.region.x + (dx * most) / away, y: node.region.y + (dy * most) / away });
      }
    };
    d3.forceSimulation(nodes)
      .force("links", d3.forceLink(this.edges.map(({ source, target }) => ({ source, target }))).distance(near)
        .strength(({ source, target }) => (source.region === target.region ? 0.08 : 0.01)))
      .force("apart", d3.forceManyBody().strength(-near * 1.6).distanceMax(near * 4))
      .force("x", d3.forceX(({ region }) => region.x).strength(0.06))
      .force("y", d3.forceY(({ region }) => region.y).strength(0.06))
      .force("collide", d3.forceCollide(({ radius }) => radius + Math.min(9, near / 5)).iterations(2))
      .force("labels", this.roomForLabels(nodes))
      .force("inside", keepInside)
      .stop().tick(220);
  }

  // A force that moves marks off the places of the most important labels, below their marks.
  roomForLabels(nodes) {
    const sure = [...nodes].sort((one, other) => other.weight - one.weight).slice(0, SURE_LABELS);
    const halves = new Map(sure.map((node) => [node, measure(node.label) / 2 / USUAL_SCALE + 2]));
    return () => {
      for (const [node, half] of halves) {
        const [top, bottom] = [node.y + node.radius, node.y + node.radius + (LABEL_SIZE + 5) / USUAL_SCALE];
        for (const other of nodes) {
          if (other === node) continue;
          // A label below the other mark counts with it.
          const [wide, under] = [halves.get(other) ?? other.radius, halves.has(other) ? (LABEL_SIZE + 3) / USUAL_SCALE : 0];
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
  // where the picture is narrow. Returns how many targets of broken links there was no room for.
  showNear(chosen) {
    this.again = () => this.showNear(chosen);
    const { width, height } = this.size();
    const narrow = this.isNarrow();
    const outs = [...chosen.out].sort(([one, lines], [other, otherLines]) => otherLines.length - lines.length || byImportance(one, other));
    const ins = [...chosen.into].filter(([other]) => !chosen.out.has(other)).sort(([one], [other]) => byImportance(one, other));
    const targets = [...d3.group(chosen.broken, ({ target }) => target)];
    const rows = Math.max(3, Math.floor((height - 90) / 24));
    const half = Math.floor((rows - 2) / 2);
    const missing = targets.slice(0, Math.max(1, Math.floor((narrow ? half : rows) / 3)));
    const rightRoom = (narrow ? Math.max(half, rows - 2 - Math.min(ins.length, half)) : rows) - missing.length;
    const leftRoom = narrow ? Math.max(1, rows - 2 - Math.min(outs.length + missing.length, rightRoom + missing.length)) : rows;
    const centre = Object.assign(this.documentNode(chosen), { chosen: true, centre: true });
    centre.radius = Math.max(11, centre.radius);
    const make = (side) => ([each, lines]) => {
      const node = this.documentNode(each);
      return Object.assign(node, { side, count: lines.length, radius: Math.min(9, node.radius) });
    };
    const left = ins.slice(0, leftRoom).map(make("left"));
    const right = outs.slice(0, Math.max(1, rightRoom)).map(make("right"));
    const gone = missing.map(([target, same]) => ({
      kind: "missing", shape: "missing", radius: 6, label: cut(target, LONGEST_LABEL), side: "right", weight: 0,
      about: `Broken link to ${target}, line ${same.map(({ line }) => line).join(", ")}`, finding: same[0],
    }));
    const column = (nodes, x, middle, gap) => nodes.forEach((node, index) => Object.assign(node, { x, y: middle + (index - (nodes.length - 1) / 2) * gap }));
    if (narrow) {
      const all = left.length + right.length + gone.length + 3;
      const gap = Math.min(34, (height - 70) / all);
      const top = (height - all * gap) / 2 + gap;
      column(left, 78, top + ((left.length - 1) * gap) / 2, gap);
      Object.assign(centre, { x: 26, y: top + (left.length + 0.5) * gap });
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
    this.edges = [
      ...left.map((source) => ({ source, target: centre, count: source.count })),
      ...right.map((target) => ({ source: centre, target, count: target.count, both: target.each.out.has(chosen) })),
      ...gone.map((target) => ({ source: centre, target, count: 1, missing: true })),
    ].map((edge) => ({ ...edge, arrow: true }));
    const side = (count, all) => (count < all ? `${count} of ${all.toLocaleString()}` : all.toLocaleString());
    const caption = (nodes, text, anchor) => nodes.length ? [{ x: nodes[0].x + (anchor === "end" ? 12 : -12), y: nodes[0].y - 20, text, anchor }] : [];
    this.captions = [
      ...caption(left, `Link here: ${side(left.length, ins.length)}`, narrow ? "start" : "end"),
      ...caption(right, `Linked to: ${side(right.length, outs.length)}`, "start"),
    ];
    this.draw([centre, ...left, ...right, ...gone], false);
    return targets.length - missing.length;
  }

  // --- drawing -----------------------------------------------------------------------------------------------------

  draw(nodes, isMap) {
    this.nodes = nodes;
    this.isMap = isMap;
    this.drawnFor = this.size();
    this.lit = null;
    this.svg.classed("lit", false);
    this.moved.selectAll("*").remove();
    this.ways = this.moved.selectAll("line.road").data(isMap && nodes.length > CROWD ? this.roads : []).join("line").attr("class", "road")
      .attr("stroke-width", ({ count }) => Math.min(7, 1 + Math.sqrt(count) * 0.7))
      .attr("x1", ({ source }) => source.x).attr("y1", ({ source }) => source.y).attr("x2", ({ target }) => target.x).attr("y2", ({ target }) => target.y);
    this.rings = this.moved.selectAll("circle.region").data(nodes.filter(({ kind }) => kind === "folder")).join("circle").attr("class", "region")
      .attr("r", ({ size }) => size + 4).attr("cx", ({ x }) => x).attr("cy", ({ y }) => y);
    this.lines = this.moved.selectAll("line.link").data(this.edges).join("line").attr("class", "link")
      .classed("extra", ({ extra }) => extra).classed("missing", ({ missing }) => missing)
      .attr("stroke-width", ({ count }) => Math.min(4, 0.8 + 0.4 * Math.sqrt(count)));
    this.marks = this.moved.selectAll("g").data(nodes).join("g")
      .attr("class", ({ kind, shape }) => `node ${kind} ${shape ?? ""}`).classed("chosen", ({ chosen }) => chosen)
      .attr("tabindex", -1).attr("role", "button").attr("aria-label", ({ about }) => about)
      .on("click", (event, node) => this.activate(node))
      .on("mouseenter focus", (event, node) => this.light(node))
      .on("mouseleave blur", () => this.light(null));
    this.marks.append("title").text(({ about }) => about);
    const points = this.marks.filter(({ kind }) => kind !== "folder");
    // Wide enough to be hit by a finger.
    points.append("circle").attr("class", "halo").attr("r", ({ radius }) => Math.max(12, radius + 4));
    points.append("path").attr("d", ({ shape, radius }) => shapes[shape](radius));
    this.marks.filter(({ kind }) => kind === "folder").append("rect").attr("class", "halo");
    this.makeStop(nodes.find(({ chosen }) => chosen) ?? nodes.find(({ kind }) => kind === "document") ?? nodes[0]);
    this.fit();
  }

  makeStop(node) {
    this.marks.attr("tabindex", (other) => (other === node ? 0 : -1));
    this.stop = node;
  }

  activate(node) {
    if (node.kind === "document") this.open({ document: node.each.path });
    else if (node.kind === "folder" && !node.own) this.open({ folder: node.folder });
  }

  focusStop() {
    this.marks.filter((node) => node === this.stop).node()?.focus();
  }

  // Arrows go to the nearest mark in their direction.
  pressed(event) {
    const node = d3.select(event.target.closest(".node")).datum();
    if (!node || event.ctrlKey || event.metaKey || event.altKey) return;
    const toward = { ArrowLeft: [-1, 0], ArrowRight: [1, 0], ArrowUp: [0, -1], ArrowDown: [0, 1] }[event.key];
    let next = null;
    if (toward) {
      const along = ([x, y]) => x * toward[0] + y * toward[1];
      const offset = (other) => [other.x - node.x, (other.kind === "folder" ? other.y - other.size : other.y) - (node.kind === "folder" ? node.y - node.size : node.y)];
      const cost = (other) => { const away = offset(other); return 3 * Math.hypot(...away) - 2 * along(away); };
      const ahead = this.nodes.filter((other) => other !== node && along(offset(other)) > 1);
      next = d3.least(ahead, cost);
    } else if (event.key === "Home" || event.key === "End") next = this.nodes[event.key === "Home" ? 0 : this.nodes.length - 1];
    else if (event.key === "Enter" || event.key === " ") this.activate(node);
    else if (event.key === "+" || event.key === "-") this.zoomBy(event.key === "+" ? 1.4 : 1 / 1.4);
    else return;
    event.preventDefault();
    if (!next) return;
    this.makeStop(next);
    this.focusStop();
  }

  // Fades all but a mark and those that it is linked with.
  light(node) {
    this.lit = null;
    if (node) {
      this.lit = new Set([node]);
      const of = node.kind === "folder" ? new Set(node.nodes) : this.lit;
      const touching = this.edges.filter(({ source, target }) => of.has(source) || of.has(target));
      for (const { source, target } of node.kind === "folder" ? [] : touching) this.lit.add(source).add(target);
      for (const inside of of) this.lit.add(inside);
      this.lines.classed("lit", (edge) => (node.kind !== "folder" || !edge.extra) && touching.includes(edge));
    }
    this.svg.classed("lit", node !== null);
    this.marks.classed("lit", (other) => this.lit?.has(other) ?? false);
    this.rings.classed("lit", (other) => this.lit?.has(other) || this.lit?.has(other.nodes?.find((inside) => this.lit.has(inside))));
    this.ways.classed("lit", ({ source, target }) => source === node || target === node);
    this.place();
  }

  // Puts everything where the zoom says; shapes, lines and letters keep their size.
  place() {
    const { transform } = this;
    this.moved.attr("transform", transform);
    if (!this.nodes.length) { this.labelled.selectAll("*").remove(); return; }
    this.marks.attr("transform", ({ x, y }) => `translate(${x},${y}) scale(${1 / transform.k})`);
    this.lines.each(function ({ source, target, arrow, both }) {
      const length = Math.hypot(target.x - source.x, target.y - source.y) || 1;
      const [ux, uy] = [(target.x - source.x) / length, (target.y - source.y) / length];
      const [begin, end] = [(source.radius + 2) / transform.k, (target.radius + 3) / transform.k];
      d3.select(this).attr("x1", source.x + ux * begin).attr("y1", source.y + uy * begin)
        .attr("x2", target.x - ux * end).attr("y2", target.y - uy * end)
        .attr("marker-end", arrow ? "url(#arrow)" : null).attr("marker-start", arrow && both ? "url(#arrow)" : null);
    });
    this.label();
  }

  // Labels never overlap each other or a mark. Folders come first, then the documents that most others link to.
  label() {
    const { width, height } = this.size();
    const { transform } = this;
    const at = (node) => transform.apply([node.x, node.y]);
    const taken = this.nodes.filter((node) => node.kind !== "folder" && (this.lit?.has(node) ?? true)).map((node) => {
      const [x, y] = at(node);
      return { node, box: [x - node.radius, y - node.radius, x + node.radius, y + node.radius] };
    });
    const tall = LABEL_SIZE + 3;
    const shown = [];
    const order = [...this.nodes].sort((one, other) => (other.chosen ?? 0) - (one.chosen ?? 0) || other.weight - one.weight);
    const sure = SURE_LABELS + this.rings.size();
    for (const [rank, node] of order.entries()) {
      if (this.lit && !this.lit.has(node)) continue;
      const [x, y] = at(node);
      const bold = node.kind === "folder" || node.chosen ? 700 : 400;
      const space = node.room ?? (node.kind === "folder" ? Math.max(130, 2 * node.size * transform.k + 24) : node.centre ? width * 0.24 : Infinity);
      const free = (box) => box[0] >= 2 && box[2] <= width - 2 && box[1] >= 2 && box[3] <= height - 2 &&
        !taken.some((other) => other.node !== node && overlaps(box, other.box));
      const [gap, near, ring] = [node.radius + 4, node.radius * 0.8, node.kind === "folder" ? (node.size + 4) * transform.k : 0];
      let [text, box] = ["", null];
      // Where the whole label finds no room its beginning may; a name of one word is worth it for the most linked alone.
      for (const most of this.isMap && node.kind === "document" ? [space, 105, ...(rank < sure ? [70] : [])] : [space]) {
        text = fitted(node.label, most, bold);
        const wide = measure(text, bold) + 2;
        const places = node.kind === "folder"
          ? [[x - wide / 2, y - ring - tall], [x - wide / 2, y + ring + 1], [x + 2 - wide, y - ring - tall], [x - 2, y - ring - tall], [x - wide / 2, y - ring + 2]]
          : node.side === "left" && !this.isNarrow() ? [[x - gap - wide, y - tall / 2]]
          : node.side || (node.centre && this.isNarrow()) ? [[x + gap, y - tall / 2]]
          : [[x - wide / 2, y + gap - 2], [x + gap, y - tall / 2], [x - wide / 2, y - gap - tall + 2], [x - gap - wide, y - tall / 2],
            [x + near, y + near - 2], [x + near, y - near - tall + 2], [x - near - wide, y + near - 2], [x - near - wide, y - near - tall + 2]];
        box = places.map(([left, top]) => [left, top, left + wide, top + tall]).find(free);
        if (box) break;
      }
      node.label_box = box ?? null;
      if (!box) continue;
      taken.push({ node, box });
      shown.push({ node, text, box });
    }
    this.labelled.selectAll("text.caption").data(this.captions).join("text").attr("class", "caption")
      .attr("x", ({ x }) => transform.applyX(x)).attr("y", ({ y }) => transform.applyY(y)).attr("text-anchor", ({ anchor }) => anchor).text(({ text }) => text);
    this.labelled.selectAll("text:not(.caption)").data(shown).join("text")
      .attr("class", ({ node }) => `${node.kind}${node.chosen ? " chosen" : ""}`)
      .attr("x", ({ box }) => box[0]).attr("y", ({ box }) => box[3] - 4).text(({ text }) => text);
    // The name of a folder is what is pointed at and focused.
    this.marks.filter(({ kind }) => kind === "folder").select("rect").each(function (node) {
      const box = node.label_box ?? [...at(node), ...at(node)];
      const [x, y] = at(node);
      d3.select(this).attr("x", box[0] - x - 4).attr("y", box[1] - y - 5).attr("width", box[2] - box[0] + 8).attr("height", Math.max(24, box[3] - box[1] + 8));
    });
  }

  fit() {
    const { width, height } = this.size();
    let transform = d3.zoomIdentity;
    if (this.isMap && this.nodes.length) {
      const reach = (node) => (node.kind === "folder" ? node.size + 6 : node.radius + 4);
      const left = d3.min(this.nodes, (node) => node.x - reach(node));
      const right = d3.max(this.nodes, (node) => node.x + reach(node));
      const top = d3.min(this.nodes, (node) => node.y - reach(node));
      const bottom = d3.max(this.nodes, (node) => node.y + reach(node));
      const k = Math.min(1.6, (width - 40) / (right - left), (height - 56) / (bottom - top));
      transform = d3.zoomIdentity.translate(width / 2, height / 2 + 4).scale(k).translate(-(left + right) / 2, -(top + bottom) / 2);
    }
    this.svg.call(this.zoom.transform, transform);
  }

  zoomBy(factor) {
    this.svg.call(this.zoom.scaleBy, factor);
  }
}
