// The graph: documents, or folders of documents, as circles with the links between them. It never draws more than
// a reader can take in: a large folder as its folders, a document with its neighbours.

const MOST_DOCUMENTS = 120;
const MOST_NEIGHBOURS = 60;
const MOST_MISSING = 12;
const MOST_GROUPS = 40;
// So many of a folder's lines to other folders are drawn, the strongest; all of them would hide each other.
const LINES_PER_GROUP = 3;

// The part of a path that is a folder of at most `depth` names.
function folderOf(path, depth = Infinity) {
  const names = path.split("/").slice(0, -1);
  return names.slice(0, depth).join("/");
}

function isBelow(path, folder) {
  return folder === "" || path === folder || path.startsWith(`${folder}/`);
}

// The folders to draw for the documents below `folder`; one that holds most of them is divided in its turn.
function groupsOf(documents, folder) {
  const divide = (group) => {
    const depth = group.folder === "" ? 1 : group.folder.split("/").length + 1;
    const parts = d3.group(group.members, (document) => {
      const below = folderOf(document.path, depth);
      return below === group.folder ? "" : below;
    });
    return [...parts].map(([below, members]) =>
      below === "" ? { folder: group.folder, own: true, members } : { folder: below, own: false, members });
  };
  let groups = divide({ folder, members: documents });
  for (;;) {
    const [largest] = d3.sort(groups.filter((group) => !group.own), (group) => -group.members.length);
    if (!largest || largest.members.length <= documents.length / 2) return groups;
    const parts = divide(largest);
    if (groups.length - 1 + parts.length > MOST_GROUPS) return groups;
    groups = [...groups.filter((group) => group !== largest), ...parts];
  }
}

class Graph {
  // `open` gets what the user activates: { document } or { folder, own }.
  constructor(svg, documents, open) {
    this.svg = d3.select(svg);
    this.documents = documents;
    this.open = open;
    this.zoom = d3.zoom().scaleExtent([0.1, 8]).on("zoom", ({ transform }) => {
      this.layer.attr("transform", transform);
      this.scale(transform.k);
    });
    const arrow = this.svg.append("defs").append("marker").attr("id", "arrow").attr("viewBox", "0 0 8 8");
    arrow.attr("refX", 8).attr("refY", 4).attr("markerWidth", 5).attr("markerHeight", 5).attr("orient", "auto");
    arrow.append("path").attr("d", "M0,0 L8,4 L0,8 z");
    this.layer = this.svg.append("g");
    this.svg.call(this.zoom).on("dblclick.zoom", null);
    // Red is what is broken.
    this.colours = d3.scaleOrdinal(d3.schemeTableau10.filter((colour) => d3.lab(colour).a < 45));
    this.homes = new Map(groupsOf(documents, "").flatMap((group) => group.members.map(({ number }) => [number, group.folder])));
    new ResizeObserver(() => this.fit()).observe(svg);
  }

  // A document and those that it links to or that link to it. Returns what there is to say about the view.
  showDocument(chosen) {
    const weights = new Map();
    for (const [other, count] of [...chosen.links, ...chosen.from]) {
      weights.set(other, (weights.get(other) ?? 0) + count);
    }
    const near = d3.sort(weights.keys(), (other) => -weights.get(other)).slice(0, MOST_NEIGHBOURS);
    const nodes = [chosen, ...near.map((number) => this.documents[number])].map((each) => this.documentNode(each));
    nodes[0].centre = true;
    const edges = this.edgesAmong(nodes);
    const targets = [...new Set(chosen.broken.map(([, target]) => target))].slice(0, MOST_MISSING);
    for (const target of targets) {
      const missing = { id: `missing ${target}`, label: target, about: `broken link: ${target}`, radius: 6, missing: true };
      nodes.push(missing);
      edges.push({ source: nodes[0].id, target: missing.id, count: 1, missing: true });
    }
    this.draw(nodes, edges);
    const among = near.length < weights.size ? `${near.length} of ${weights.size.toLocaleString()}` : `${near.length}`;
    return `${among} linked document${weights.size === 1 ? "" : "s"}`;
  }

  // The documents below a folder, or its folders when it holds too many; `own`: only those that lie in it directly.
  showFolder(folder, own) {
    let inside = this.documents.filter(({ path }) => (own ? folderOf(path) === folder : isBelow(folderOf(path), folder)));
    const all = inside.length;
    const groups = all > MOST_DOCUMENTS && !own ? groupsOf(inside, folder) : [];
    if (groups.length > 1) {
      this.drawGroups(groups, folder);
      return `${groups.length} folders, ${all.toLocaleString()} documents`;
    }
    inside = d3.sort(inside, (document) => -(document.links.length + document.from.length)).slice(0, MOST_DOCUMENTS);
    const nodes = inside.map((document) => this.documentNode(document));
    this.draw(nodes, this.edgesAmong(nodes));
    const count = `${all.toLocaleString()} document${all === 1 ? "" : "s"}`;
    return inside.length < all ? `the ${inside.length} of ${count} with most links` : count;
  }

  documentNode(document) {
    const degree = document.links.length + document.from.length;
    const broken = document.broken.length;
    return {
      id: document.number, label: document.title, document, broken: broken > 0, radius: 5 + Math.min(13, Math.sqrt(degree) * 1.6),
      colour: this.colours(this.homes.get(document.number)),
      about: `${document.title}, ${document.path}, ${document.links.length} out, ${document.from.length} in` +
        (broken ? `, ${broken} broken` : ""),
    };
  }

  edgesAmong(nodes) {
    const shown = new Set(nodes.map((node) => node.id));
    return nodes.flatMap(({ id, document }) => document.links
      .filter(([target]) => shown.has(target))
      .map(([target, count]) => ({ source: id, target, count })));
  }

  drawGroups(groups, folder) {
    const home = new Map();
    groups.forEach((group, number) => group.members.forEach((document) => home.set(document.number, number)));
    const counts = new Map();
    for (const [number, group] of groups.entries()) {
      for (const [target, count] of group.members.flatMap((document) => document.links)) {
        const other = home.get(target);
        if (other === undefined || other === number) continue;
        const key = number < other ? `${number} ${other}` : `${other} ${number}`;
        counts.set(key, (counts.get(key) ?? 0) + count);
      }
    }
    const drawn = groups.map(() => 0);
    const edges = d3.sort(counts, ([, count]) => -count)
      .map(([key, count]) => ({ source: Number(key.split(" ")[0]), target: Number(key.split(" ")[1]), count, mutual: true }))
      .filter(({ source, target }) => Math.min(drawn[source]++, drawn[target]++) < LINES_PER_GROUP);
    const lastNames = d3.rollup(groups, (same) => same.length, (group) => group.folder.split("/").pop());
    const nodes = groups.map((group, id) => {
      const last = group.folder.split("/").pop();
      const name = group.folder === folder ? "." : lastNames.get(last) === 1 ? last : group.folder;
      const label = `${name} (${group.members.length.toLocaleString()})`;
      const broken = d3.sum(group.members, (document) => document.broken.length);
      return {
        id, label, folder: group.folder, own: group.own, broken: broken > 0,
        radius: 7 + Math.min(30, Math.sqrt(group.members.length) * 0.9), colour: this.colours(group.folder),
        about: `folder ${group.folder || "."}, ${group.members.length} documents${broken ? `, ${broken} broken links` : ""}`,
      };
    });
    this.draw(nodes, edges);
  }

  draw(nodes, edges) {
    const few = nodes.length < 30;
    const { width, height } = this.svg.node().getBoundingClientRect();
    const across = Math.min(2, Math.max(0.5, height / (width || 1)));
    d3.forceSimulation(nodes)
      .force("links", d3.forceLink(edges).id((node) => node.id).distance(few ? 110 : 70).strength(few ? 0.3 : 0.15))
      .force("apart", d3.forceManyBody().strength(few ? -500 : -240))
      .force("x", d3.forceX().strength(0.07 * across))
      .force("y", d3.forceY().strength(0.07 / across))
      .force("collide", d3.forceCollide((node) => node.radius + 8))
      .stop()
      .tick(250);
    this.nodes = nodes;
    this.layer.selectAll("*").remove();
    this.lines = this.layer.selectAll("line").data(edges).join("line").classed("missing", (edge) => edge.missing);
    this.circles = this.layer.selectAll("g").data(nodes).join("g")
      .attr("class", "node")
      .classed("centre", (node) => node.centre).classed("broken", (node) => node.broken).classed("missing", (node) => node.missing)
      .attr("transform", (node) => `translate(${node.x},${node.y})`)
      .attr("tabindex", 0).attr("role", "button").attr("aria-label", (node) => node.about)
      .on("click", (event, node) => this.activate(node))
      .on("keydown", (event, node) => {
        if (event.key === "Enter" || event.key === " ") { event.preventDefault(); this.activate(node); }
      })
      .on("mouseenter focus", (event, node) => this.light(node))
      .on("mouseleave blur", () => this.light(null));
    this.circles.append("title").text((node) => node.about);
    this.circles.append("circle").style("fill", (node) => node.colour);
    // Above all circles, so that none of them hides a label.
    this.labels = this.layer.selectAll("text").data(nodes).join("text").attr("aria-hidden", "true")
      .classed("missing", (node) => node.missing).attr("x", (node) => node.x)
      .text((node) => (node.label.length > 34 ? `${node.label.slice(0, 33)}…` : node.label));
    this.fit();
  }

  activate(node) {
    if (!node.missing) this.open(node.document ? { document: node.document } : { folder: node.folder, own: node.own });
  }

  light(node) {
    this.lines.classed("lit", (edge) => edge.source === node || edge.target === node);
    this.labels.classed("lit", (other) => other === node);
  }

  // Circles, lines and letters keep their size on the screen whatever the zoom; labels that would overlap are hidden.
  scale(k) {
    if (!this.nodes) return;
    const size = (node) => node.radius / Math.max(k, 0.6);
    this.circles.select("circle").attr("r", size);
    this.labels.attr("font-size", 12 / k).attr("stroke-width", 3 / k).attr("y", (node) => node.y + size(node) + 13 / k);
    this.lines.attr("stroke-width", (edge) => Math.min(5, 0.8 + Math.sqrt(edge.count) * 0.5) / k)
      .attr("marker-end", (edge) => (edge.mutual ? null : "url(#arrow)"))
      .attr("x1", (edge) => edge.source.x).attr("y1", (edge) => edge.source.y)
      .each(function (edge) {
        const [dx, dy] = [edge.target.x - edge.source.x, edge.target.y - edge.source.y];
        const share = 1 - (size(edge.target) + 3 / k) / (Math.hypot(dx, dy) || 1);
        d3.select(this).attr("x2", edge.source.x + dx * share).attr("y2", edge.source.y + dy * share);
      });
    const placed = [];
    const order = d3.sort(this.nodes, (node) => (node.centre ? -1e9 : node.missing ? -1e6 : -node.radius));
    for (const node of order) {
      const half = (Math.min(34, node.label.length) * 3.3) / k;
      const top = node.y + size(node) + 3 / k;
      const box = [node.x - half, top, node.x + half, top + 13 / k];
      node.crowded = placed.some((other) => box[0] < other[2] && box[2] > other[0] && box[1] < other[3] && box[3] > other[1]);
      if (!node.crowded) placed.push(box);
    }
    this.labels.classed("crowded", (node) => node.crowded);
  }

  fit() {
    const { width, height } = this.svg.node().getBoundingClientRect();
    if (!this.nodes?.length || !width || !height) return;
    const [[left, right], [top, bottom]] = [d3.extent(this.nodes, (node) => node.x), d3.extent(this.nodes, (node) => node.y)];
    // Room for the labels, which hang below and to both sides.
    const k = Math.min(1.4, (width - 180) / (right - left || 1), (height - 90) / (bottom - top || 1));
    const middle = d3.zoomIdentity.translate(width / 2, height / 2 - 8).scale(Math.max(0.1, k));
    this.svg.call(this.zoom.transform, middle.translate(-(left + right) / 2, -(top + bottom) / 2));
  }

  zoomBy(factor) {
    this.svg.call(this.zoom.scaleBy, factor);
  }
}
