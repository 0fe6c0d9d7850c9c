// Draws the picture: marks, links and labels, with zoom, focus and what is pointed at.

const shapes = {
  document: (radius) => d3.symbol(d3.symbolCircle, Math.PI * radius ** 2)(),
  broken: (radius) => d3.symbol(d3.symbolTriangle, 4.4 * radius ** 2)(),
  missing: (radius) => `M${-radius},${-radius}L${radius},${radius}M${-radius},${radius}L${radius},${-radius}`,
};

const isSameSize = (one, other) => Math.abs(one.width - other.width) < 2 && Math.abs(one.height - other.height) < 2;

class Picture {
  // `open` gets what the user activates: { document } or { folder }, paths both. `again` is called when what is shown
  // no longer fits the size of the picture.
  constructor(svg, open, again) {
    Object.assign(this, { svg: d3.select(svg), open, nodes: [], edges: [], drawnFor: null });
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
    new ResizeObserver(() => {
      if (this.drawnFor && !isSameSize(this.size(), this.drawnFor)) again();
    }).observe(svg);
  }

  scrolls() {
    return document.documentElement.scrollHeight > innerHeight + 1;
  }

  size() {
    const { width, height } = this.svg.node().getBoundingClientRect();
    return { width: Math.max(width, 200), height: Math.max(height, 200), narrow: width < 520 };
  }

  // --- drawing -----------------------------------------------------------------------------------------------------

  // Shows what `choose` returns for a size: see mapOf and nearOf. `tell` gets it before, and what that writes beside the
  // picture may change the size.
  show(choose, tell) {
    let size = this.size();
    let chosen = choose(size);
    tell(chosen);
    if (!isSameSize(this.size(), size)) {
      size = this.size();
      chosen = choose(size);
      tell(chosen);
    }
    if (chosen.isMap) arrange(chosen, size);
    this.drawnFor = this.size();
    this.draw(chosen);
  }

  draw({ nodes, edges, roads, captions, isMap }) {
    Object.assign(this, { nodes, edges, captions, isMap, lit: null });
    this.svg.classed("lit", false);
    this.moved.selectAll("*").remove();
    this.ways = this.moved.selectAll("line.road").data(roads).join("line").attr("class", "road")
      .attr("stroke-width", ({ count }) => Math.min(7, 1 + Math.sqrt(count) * 0.7))
      .attr("x1", ({ source }) => source.x).attr("y1", ({ source }) => source.y).attr("x2", ({ target }) => target.x).attr("y2", ({ target }) => target.y);
    this.rings = this.moved.selectAll("circle.region").data(nodes.filter(({ kind }) => kind === "folder")).join("circle").attr("class", "region")
      .attr("r", ({ size }) => size + 4).attr("cx", ({ x }) => x).attr("cy", ({ y }) => y);
    this.lines = this.moved.selectAll("line.link").data(edges).join("line").attr("class", "link")
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
    const mostLinked = d3.greatest(nodes.filter(({ kind }) => kind === "document"), ({ weight }) => weight);
    this.makeStop(nodes.find(({ chosen }) => chosen) ?? mostLinked);
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
      const touching = new Set(this.edges.filter(({ source, target }) => of.has(source) || of.has(target)));
      for (const { source, target } of node.kind === "folder" ? [] : touching) this.lit.add(source).add(target);
      for (const inside of of) this.lit.add(inside);
      this.lines.classed("lit", (edge) => (node.kind !== "folder" || !edge.extra) && touching.has(edge));
    }
    this.svg.classed("lit", node !== null);
    this.marks.classed("lit", (other) => this.lit?.has(other) ?? false);
    this.rings.classed("lit", (other) => this.lit?.has(other) || other.nodes.some((inside) => this.lit?.has(inside)));
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

  label() {
    const { transform } = this;
    const shown = placeLabels(this.nodes, { isMap: this.isMap, lit: this.lit, transform, ...this.size() });
    this.labelled.selectAll("text.caption").data(this.captions).join("text").attr("class", "caption")
      .attr("x", ({ x }) => transform.applyX(x)).attr("y", ({ y }) => transform.applyY(y)).attr("text-anchor", ({ anchor }) => anchor).text(({ text }) => text);
    this.labelled.selectAll("text:not(.caption)").data(shown).join("text")
      .attr("class", ({ node }) => `${node.kind}${node.chosen ? " chosen" : ""}`)
      .attr("x", ({ box }) => box[0]).attr("y", ({ box }) => box[3] - 4).text(({ text }) => text);
    const boxes = new Map(shown.map(({ node, box }) => [node, box]));
    // The name of a folder is what is pointed at and focused.
    this.marks.filter(({ kind }) => kind === "folder").select("rect").each(function (node) {
      const [x, y] = transform.apply([node.x, node.y]);
      const box = boxes.get(node) ?? [x, y, x, y];
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
