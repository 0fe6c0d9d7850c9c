// Puts the page together: what is chosen stands in the address, so that Back and bookmarks work.

const find = (id) => document.getElementById(id);
const map = JSON.parse(find("data").textContent);
const documents = map.documents;
documents.forEach((each, number) => Object.assign(each, { number, from: [] }));
for (const { number, links } of documents) {
  for (const [target, count] of links) documents[target].from.push([number, count]);
}
const numbers = new Map(documents.map(({ path, number }) => [path, number]));
const plural = (count, noun) => `${count.toLocaleString()} ${noun}${count === 1 ? "" : "s"}`;

// --- going somewhere ---------------------------------------------------------------------------------------------

// `place`: { document: path, line } or { folder: path, own }.
function go(place) {
  location.hash = new URLSearchParams(Object.entries(place).filter(([, value]) => value)).toString();
}

function arrive() {
  const place = new URLSearchParams(location.hash.slice(1));
  const chosen = documents[numbers.get(place.get("document"))];
  const folder = chosen ? folderOf(chosen.path) : place.get("folder") ?? "";
  find("shown").textContent = chosen ? graph.showDocument(chosen) : graph.showFolder(folder, place.has("own"));
  showTrail(folder);
  find("details").replaceChildren(...(chosen ? documentDetails(chosen) : folderDetails(folder)));
  find("details").scrollTop = 0;
  const above = folder === "" ? [] : folder.split("/").map((_, depth, names) => `/${names.slice(0, depth + 1).join("/")}`);
  const line = place.get("line");
  tree.reveal([...above, ...(chosen ? [chosen.path, ...(line ? sectionIds(chosen, Number(line)) : [])] : [])]);
}

function showTrail(folder) {
  const names = folder === "" ? [] : folder.split("/");
  const steps = [button(map.name, () => go({}))];
  names.forEach((name, depth) => steps.push("›", button(name, () => go({ folder: names.slice(0, depth + 1).join("/") }))));
  find("trail").replaceChildren(...steps);
}

function button(label, action) {
  return element("button", { type: "button", textContent: label, title: label, onclick: action });
}

// --- the outline -------------------------------------------------------------------------------------------------

function folderEntries(inside, folder) {
  const depth = folder === "" ? 1 : folder.split("/").length + 1;
  const [own, deeper] = [[], new Map()];
  for (const each of inside) {
    const below = folderOf(each.path, depth);
    if (below === folder) own.push(each);
    else if (deeper.has(below)) deeper.get(below).push(each);
    else deeper.set(below, [each]);
  }
  const folders = [...deeper].map(([below, members]) => ({
    kind: "folder", id: `/${below}`, label: below.split("/").pop(), folder: below, note: members.length.toLocaleString(),
    bad: d3.sum(members, (each) => each.broken.length), children: () => folderEntries(members, below),
  }));
  return [...folders, ...own.map(documentEntry)];
}

function documentEntry(each) {
  return {
    kind: "document", id: each.path, label: each.path.split("/").pop(), document: each, bad: each.broken.length,
    children: each.sections.length ? () => sectionEntries(each, 0, each.sections.length, 0) : null,
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
      children: first < stop ? () => sectionEntries(each, first, stop, depth + 1) : null,
    });
    index = after;
  }
  return entries;
}

// The lines of the sections around `line`, outermost first; the section that begins there is the last.
function sectionIds(each, line) {
  const around = each.sections.filter(([, , first, last]) => first <= line && line <= last);
  return around.map(([, , first]) => first);
}

// --- details -----------------------------------------------------------------------------------------------------

const MOST_ROWS = 200;

function rows(title, entries, make) {
  if (!entries.length) return [];
  const list = element("ul", {}, ...entries.slice(0, MOST_ROWS).map((entry) => element("li", {}, ...make(entry))));
  if (entries.length > MOST_ROWS) list.append(element("li", { textContent: `and ${plural(entries.length - MOST_ROWS, "more").replace(/s$/, "")}` }));
  return [element("h3", { textContent: `${title} (${entries.length.toLocaleString()})` }), list];
}

function documentButton(each, count) {
  const made = button(each.title, () => go({ document: each.path }));
  made.title = each.path;
  return [made, element("span", { className: "times", textContent: count > 1 ? `×${count}` : "" })];
}

function finding([line, target, message, suggestion]) {
  const text = `line ${line}: ${message}${suggestion === null ? "" : `; did you mean “${suggestion}”?`}`;
  return [element("div", { className: "finding", textContent: text, title: target })];
}

// The address of a document's file as seen from this page, null when there is none.
function address(each) {
  if (map.base === null) return null;
  try {
    // The first step keeps a name such as "javascript:x.md" from being read as a scheme.
    return `./${[...map.base.split("/"), ...each.path.split("/")].map(encodeURIComponent).join("/")}`;
  } catch {
    return null; // a file name that is no Unicode text
  }
}

function documentDetails(each) {
  const place = element("div", { className: "path", textContent: each.path });
  const href = address(each);
  const linked = ([number, count]) => documentButton(documents[number], count);
  return [
    element("h2", { textContent: each.title }),
    place,
    ...(href ? [element("a", { href, textContent: "Open the file" })] : []),
    ...rows("Broken links", each.broken, finding),
    ...rows("Links to", each.links, linked),
    ...rows("Linked from", each.from, linked),
    ...rows("Sections", each.sections, ([depth, name, line]) => {
      const made = button(name, () => go({ document: each.path, line }));
      made.style.marginLeft = `${depth * 0.8}rem`;
      return [made];
    }),
  ];
}

function folderDetails(folder) {
  const inside = documents.filter(({ path }) => isBelow(folderOf(path), folder));
  const broken = d3.sort(inside.filter((each) => each.broken.length), (each) => -each.broken.length);
  const linked = d3.sort(inside.filter((each) => each.from.length), (each) => -each.from.length).slice(0, 15);
  const sections = d3.sum(inside, (each) => each.sections.length);
  return [
    element("h2", { textContent: folder || map.name }),
    element("div", { className: "path", textContent: `${plural(inside.length, "document")}, ${plural(sections, "section")}` }),
    ...rows("Documents with broken links", broken, (each) => documentButton(each, each.broken.length)),
    ...rows("Most linked to", linked, (each) => documentButton(each, each.from.length)),
  ];
}

// --- search ------------------------------------------------------------------------------------------------------

const MOST_RESULTS = 150;
let places = null;

function allPlaces() {
  const fold = (text) => text.toLocaleLowerCase();
  return documents.flatMap((each) => [
    { document: each, label: each.title, where: each.path, key: fold(`${each.title} ${each.path}`) },
    ...each.sections.map(([, name, line]) => ({ document: each, label: name, where: each.path, line, key: fold(name) })),
  ]);
}

function search() {
  const words = find("search").value.toLocaleLowerCase().split(/\s+/).filter(Boolean);
  find("tree").hidden = words.length > 0;
  find("results").hidden = words.length === 0;
  find("found").textContent = "";
  find("results").replaceChildren();
  if (!words.length) return;
  places ??= allPlaces();
  const found = places.filter(({ key }) => words.every((word) => key.includes(word)));
  find("found").textContent = plural(found.length, "match").replace(/hs$/, "hes") +
    (found.length > MOST_RESULTS ? `, the first ${MOST_RESULTS} shown` : "");
  find("results").append(...found.slice(0, MOST_RESULTS).map((place) => {
    const made = button(place.label, () => go({ document: place.document.path, line: place.line }));
    made.append(element("small", { textContent: place.line ? `${place.where}:${place.line}` : place.where }));
    return element("li", {}, made);
  }));
}

function moveInResults(event) {
  const step = { ArrowDown: 1, ArrowUp: -1 }[event.key];
  if (!step) return;
  const stops = [find("search"), ...find("results").querySelectorAll("button")];
  const stop = stops[stops.indexOf(document.activeElement) + step];
  if (stop) { event.preventDefault(); stop.focus(); }
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
  find("theme").setAttribute("aria-label", dark ? "Switch to light colours" : "Switch to dark colours");
  find("theme").onclick = () => { stored.write(dark ? "light" : "dark"); showTheme(dark ? "light" : "dark"); };
}

// --- start -------------------------------------------------------------------------------------------------------

const tree = new Tree(find("tree"), folderEntries(documents, ""), (entry) => {
  if (entry.kind === "folder") go({ folder: entry.folder });
  else go({ document: entry.document.path, line: entry.line });
});
const graph = new Graph(find("graph"), documents, ({ document: each, folder, own }) => {
  go(each ? { document: each.path } : { folder, own });
});

const sectionCount = d3.sum(documents, (each) => each.sections.length);
const brokenCount = d3.sum(documents, (each) => each.broken.length);
find("counts").append(
  `${plural(documents.length, "document")}, ${plural(sectionCount, "section")}, ${plural(map.links, "link")}, `,
  element("span", { className: brokenCount ? "bad" : "", textContent: `${brokenCount.toLocaleString()} broken` }));

find("search").addEventListener("input", search);
find("search").closest("nav").addEventListener("keydown", (event) => {
  if (event.target.closest("#search, #results")) moveInResults(event);
  if (event.key === "Escape" && find("search").value) { find("search").value = ""; search(); find("search").focus(); }
});
find("nearer").onclick = () => graph.zoomBy(1.4);
find("farther").onclick = () => graph.zoomBy(1 / 1.4);
find("fit").onclick = () => graph.fit();
addEventListener("keydown", (event) => {
  if (event.key === "/" && !event.target.closest("input")) { event.preventDefault(); find("search").focus(); }
});
addEventListener("hashchange", arrive);
system.addEventListener("change", () => showTheme(stored.read()));
showTheme(stored.read());
arrive();
