// Puts the page together. What is chosen stands in the address, so that Back and bookmarks work.

const narrow = matchMedia("(max-width: 46rem)");
const medium = matchMedia("(max-width: 75rem)");

// --- going somewhere ---------------------------------------------------------------------------------------------

// `place`: { document: path, line } or { folder: path }, and view: "map" for the whole folder around a document.
function hrefOf(place) {
  return `#${new URLSearchParams(Object.entries(place).filter(([, value]) => value))}`;
}

// What is shown; the browser tells of a new address later, when it may have been shown already.
let shownHash = null;

// Goes to a place, given as such or as its address; then `focus` ("reading" or "picture") gets the focus.
function go(place, focus = null) {
  leave();
  location.hash = typeof place === "string" ? place : hrefOf(place);
  arrive(focus);
}

// Notes in the history which link was followed, so that Back gives the focus to it again.
function leave() {
  const at = reading.stops().indexOf(document.activeElement);
  history.replaceState(at < 0 ? null : { at, text: document.activeElement.textContent }, "");
}

// The link that was followed from here, where it is still there.
function linkFollowed() {
  const stop = reading.stops()[history.state?.at];
  return stop?.textContent === history.state?.text ? stop : undefined;
}

function placeInAddress() {
  const given = new URLSearchParams(location.hash.slice(1));
  const each = byPath.get(given.get("document"));
  return { each, folder: each ? each.folder : given.get("folder") ?? "", line: Number(given.get("line")), map: !each || given.get("view") === "map" };
}

function arrive(focus = null) {
  shownHash = location.hash;
  const place = placeInAddress();
  const { each, folder, line } = place;
  const name = each ? each.title : folder === "" ? null : indexOf(folder)?.title ?? lastName(folder);
  document.title = name === null ? `${cut(map.title, 80)} – map of ${plural(documents.length, "document")}` : `${cut(name, 80)} – ${cut(map.title, 60)}`;
  const hadFocus = document.activeElement;
  if (each) reading.showDocument(each, line);
  else reading.showFolder(folder);
  tree.reveal(treeIds(each, folder, line));
  drawPicture(place);
  const lost = hadFocus && hadFocus !== document.body && !hadFocus.isConnected;
  if (focus === "picture") picture.focusStop();
  else if (focus === null && linkFollowed() && (lost || hadFocus === document.body)) linkFollowed().focus();
  else if (focus === "reading" || lost) reading.focus();
  else if (line) reading.pane.querySelector(".here")?.scrollIntoView({ block: "center" });
}

// --- the picture -------------------------------------------------------------------------------------------------

const LEGEND = {
  document: ["document", "document; larger: more documents link to it"],
  broken: ["broken", "document with broken links"],
  chosen: ["chosen", "chosen"],
  region: ["region", "folder"],
  missing: ["missing", "broken link"],
};

function drawPicture({ each, folder, map: isMap }) {
  for (const [id, pressed] of [["whole", isMap], ["near", !isMap]]) find(id).setAttribute("aria-pressed", String(pressed));
  find("near").disabled = !each;
  find("near").title = each ? "" : "Choose a document first";
  find("choose").hidden = Boolean(each) || !documents.length;
  const hadFocus = find("graph").contains(document.activeElement);
  picture.show((size) => (isMap ? mapOf(each ? "" : folder, each, size) : nearOf(each, size)), (drawing) => tellPicture(drawing, each));
  if (hadFocus) picture.focusStop();
}

// Writes what the picture shows, or why there is none.
function tellPicture(drawing, each) {
  const empty = drawing.isMap ? drawing.linked === 0 : isIsolated(each);
  const nothing = drawing.isMap ? "No document here links to another, so there is no picture." : "No document links to this one, and it links to none, so there is no picture.";
  find("nothing").textContent = empty && documents.length ? nothing : "";
  find("graph").classList.toggle("empty", empty);
  find("key").hidden = empty;
  for (const id of ["nearer", "farther", "fit"]) find(id).disabled = empty;
  find("shown").textContent = empty ? "" : drawing.isMap ? mapInWords(drawing) : nearInWords(drawing);
  const shapesShown = new Set(drawing.nodes.map(({ shape, kind }) => (kind === "folder" ? "region" : shape)));
  if (each) shapesShown.add("chosen");
  find("legend").replaceChildren(...Object.entries(LEGEND).filter(([key]) => shapesShown.has(key)).map(([, [icon, text]]) => element("li", {}, sign(icon), text)));
}

function mapInWords({ linked, isolated, broken, marks, roads, hidden, cutOff }) {
  const drawn = marks.length;
  const rest = isolated ? `; ${isolated.toLocaleString()} without links ${isolated === 1 ? "is" : "are"} listed, not drawn` : "";
  return [`${drawnInWords(drawn, linked, broken, marks.filter(({ each }) => each.broken.length).length)}${rest}.`,
    roads.length ? "Thick lines sum up links between folders." : "",
    hidden ? `Not all lines are drawn: point at a mark for all of its own${cutOff ? " among these documents" : ""}.`
      : cutOff ? "Links with documents that are not drawn are left out." : ""].filter(Boolean).join(" ");
}

// How many of the linked documents, and of those with broken links, are drawn.
function drawnInWords(drawn, linked, broken, brokenDrawn) {
  const all = `${plural(linked, "document")} with links`;
  if (drawn === linked) return all;
  if (!broken) return `The ${drawn.toLocaleString()} most linked of ${all}`;
  const wrong = brokenDrawn < broken ? `${brokenDrawn.toLocaleString()} of the ${broken.toLocaleString()} with broken links`
    : broken === 1 ? "the one with broken links" : `all ${broken.toLocaleString()} with broken links`;
  return `${drawn.toLocaleString()} of ${all}: ${wrong}${drawn > brokenDrawn ? ", then the most linked" : ""}`;
}

function nearInWords({ left }) {
  const arrows = "Arrows show which document links to which.";
  return left ? `${arrows} ${plural(left, "more broken link")} listed, not drawn.` : arrows;
}

// A mark of the picture, for the legend.
function sign(kind) {
  const svg = d3.create("svg").attr("viewBox", "-9 -9 18 18").attr("width", 18).attr("height", 18).attr("aria-hidden", "true");
  const group = svg.append("g").attr("class", `node ${kind === "chosen" ? "document chosen" : kind}`);
  if (kind === "region") svg.append("circle").attr("class", "region").attr("r", 7.5);
  else group.append("path").attr("d", shapes[kind === "chosen" ? "document" : kind](kind === "missing" ? 5 : 5.5));
  return svg.node();
}

// --- the tree ----------------------------------------------------------------------------------------------------

// What introduces the folder, the folders in it, the other documents; each in the order that the builder gave them.
function entriesBelow(inside, folder) {
  const { folders, own } = partsOf(inside, folder);
  const index = own.find((each) => each.folder === folder && each === indexOf(folder));
  const rest = own.filter((each) => each !== index).sort((one, other) => one.number - other.number);
  const named = d3.rollup(own, (same) => same.length, ({ title }) => title);
  const entry = (each) => documentEntry(each, named.get(each.title));
  return [...(index ? [entry(index)] : []), ...folders.map((part) => folderEntry(part, folder)), ...rest.map(entry)];
}

// Folders are opened by how central their documents are: one of tests may hold more.
const weightOf = (members) => sum(members, ({ into }) => Math.max(0, into.size - 1)) + members.length / documents.length;

function folderEntry({ folder, members }, above) {
  return {
    kind: "folder", id: `/${folder}`, label: folder.slice(above ? above.length + 1 : 0), folder,
    spoken: `Folder ${folder}, ${plural(members.length, "document")}`, note: members.length.toLocaleString(),
    size: weightOf(members),
    bad: sum(members, (each) => each.broken.length), children: () => entriesBelow(members, folder),
  };
}

// `named`: how many documents in the same branch have its title.
function documentEntry(each, named) {
  const begin = outlineStart(each);
  return {
    kind: "document", id: each.path, label: each.title, spoken: `${cutMiddle(each.title, 200)}${each.apart ? `, ${each.apart}` : ""}, document`,
    told: each.told, beside: named > 1 ? each.apart : null, document: each, bad: each.broken.length,
    children: each.sections.length > begin ? () => sectionEntries(each, begin, each.sections.length, begin) : null,
  };
}

// The sections `begin` up to `end` that nest `depth` deep, each with those inside it.
function sectionEntries(each, begin, end, depth) {
  const entries = [];
  for (let index = begin; index < end; ) {
    const [, name, line, last] = each.sections[index];
    let after = index + 1;
    while (after < end && each.sections[after][0] > depth) after += 1;
    const [first, stop] = [index + 1, after];
    entries.push({
      kind: "section", id: line, label: name, document: each, line, note: line === last ? `${line}` : `${line}–${last}`,
      spoken: `${cutMiddle(name, 200)}, section, ${line === last ? `line ${line}` : `lines ${line} to ${last}`}`,
      children: first < stop ? () => sectionEntries(each, first, stop, depth + 1) : null,
    });
    index = after;
  }
  return entries;
}

// The ids of the rows from the root down to what is chosen.
function treeIds(each, folder, line) {
  const ids = [];
  let [inside, above] = [documents, ""];
  for (;;) {
    const part = partsOf(inside, above).folders.find(({ folder: below }) => isBelow(folder, below));
    if (!part) break;
    ids.push(`/${part.folder}`);
    [inside, above] = [part.members, part.folder];
  }
  if (!each) return ids;
  const around = line ? each.sections.slice(outlineStart(each)).filter(([, , first, last]) => first <= line && line <= last).map(([, , first]) => first) : [];
  return [...ids, each.path, ...around];
}

// --- light and dark ----------------------------------------------------------------------------------------------

const system = matchMedia("(prefers-color-scheme: dark)");

// A page opened as a file may have no storage; the choice then lasts as long as the page.
const stored = {
  read: () => { try { return localStorage.getItem("docmap-theme"); } catch { return null; } },
  write: (theme) => { try { localStorage.setItem("docmap-theme", theme); } catch { /* as said */ } },
};

function showTheme(theme) {
  if (theme) document.documentElement.dataset.theme = theme;
  const dark = (theme ?? (system.matches ? "dark" : "light")) === "dark";
  find("theme").textContent = dark ? "Light" : "Dark";
  find("theme").setAttribute("aria-label", dark ? "Light colours" : "Dark colours");
  find("theme").onclick = () => { stored.write(dark ? "light" : "dark"); showTheme(dark ? "light" : "dark"); };
}

// --- start -------------------------------------------------------------------------------------------------------

document.documentElement.classList.add("ready");
const reading = new Reading(find("reading"), hrefOf);
const picture = new Picture(find("graph"), (place) => {
  // On a narrow screen the words stand out of sight of the picture.
  go(place, narrow.matches ? "reading" : "picture");
}, () => drawPicture(placeInAddress()));
const tree = new Tree(find("tree"), entriesBelow(documents, ""), (entry) => {
  closeContents();
  go(entry.kind === "folder" ? { folder: entry.folder } : { document: entry.document.path, line: entry.line }, medium.matches ? "reading" : null);
});
new SearchBox(find("search"), find("results"), find("found"), new Search(documents), (place) => {
  closeContents();
  go(place, "reading");
}, () => closeContents());

// The outline stands open where there is a column for it, else after a press of its button.
function showContents(open) {
  find("tree").hidden = !open || find("search").value.trim() !== "";
  find("contents").setAttribute("aria-expanded", String(open));
}
const closeContents = () => showContents(!medium.matches);

const sectionCount = sum(documents, (each) => each.sections.length);
const brokenCount = sum(documents, (each) => each.broken.length);
find("counts").append(
  `${plural(documents.length, "document")}, ${plural(sectionCount, "section")}, `,
  element("span", { className: brokenCount ? "bad" : "", textContent: brokenCount ? `${plural(brokenCount, "broken link")}` : "no broken links" }));

find("skip").addEventListener("click", (event) => { event.preventDefault(); reading.focus(); });
// What a link within the page leads to is then read from its beginning.
for (const part of [find("reading"), find("home")]) {
  part.addEventListener("click", (event) => {
    const href = event.target.closest("a")?.getAttribute("href");
    if (href && !href.startsWith("#")) leave();
    if (!href?.startsWith("#") || event.ctrlKey || event.metaKey || event.shiftKey) return;
    event.preventDefault();
    go(href, "reading");
  });
}
find("whole").onclick = () => {
  const { each } = placeInAddress();
  go(each ? { document: each.path, view: "map" } : {});
};
find("near").onclick = () => go({ document: placeInAddress().each.path });
find("to-picture").onclick = () => {
  find("whole").focus({ preventScroll: true });
  find("picture").scrollIntoView({ block: "start" });
};
find("nearer").onclick = () => picture.zoomBy(1.4);
find("farther").onclick = () => picture.zoomBy(1 / 1.4);
find("fit").onclick = () => picture.fit();
addEventListener("keydown", (event) => {
  if (event.key === "/" && !event.ctrlKey && !event.metaKey && !event.altKey && !event.target.closest("input")) {
    event.preventDefault();
    find("search").focus();
  }
});
addEventListener("hashchange", () => { if (location.hash !== shownHash) arrive(); });
medium.addEventListener("change", closeContents);
find("contents").onclick = () => showContents(find("tree").hidden);
system.addEventListener("change", () => showTheme(stored.read()));
closeContents();
// A phone has no such key; who has no pointer at all has a keyboard.
if (!matchMedia("(pointer: coarse)").matches && !narrow.matches) find("search").placeholder = "Search ( / )";
showTheme(stored.read());
tree.openSome(40, weightOf(documents) / 5);
arrive();
