// What the page knows: the documents of a folder, their sections and links, and what follows from these.
// Texts of documents reach the page through textContent only.

const find = (id) => document.getElementById(id);

// An element; names with a dash, and `role`, are attributes, all others properties. Children may be left out by null.
function element(tag, properties = {}, ...children) {
  const made = document.createElement(tag);
  for (const [name, value] of Object.entries(properties)) {
    if (name.includes("-") || name === "role") made.setAttribute(name, value);
    else made[name] = value;
  }
  made.append(...children.flat(Infinity).filter((child) => child !== null && child !== undefined));
  return made;
}

function plural(count, noun) {
  return `${count.toLocaleString()} ${noun}${count === 1 ? "" : noun.endsWith("h") ? "es" : "s"}`;
}

function cut(text, length) {
  return text.length > length ? `${text.slice(0, length - 1).trimEnd()}…` : text;
}

// The beginning and the end of a text, which together are so long at most: titles of a series differ at the end.
function halves(text, length) {
  const segments = (part) => [...segmenter.segment(part)];
  const most = Math.ceil(length * 0.45);
  // Of a long text only what may be shown is looked at; a letter and its accents, or an emoji, stay whole.
  const last = segments(text.slice(-most - 30)).slice(1).reverse();
  let end = "";
  for (const { segment } of last) {
    if (segment.length + end.length > most) break;
    end = segment + end;
  }
  const word = end.search(/\s\S/);
  if (word >= 0 && word < end.length / 2) end = end.slice(word + 1);
  let begin = "";
  for (const { segment } of segments(text.slice(0, length + 30))) {
    if (segment.length + begin.length + end.length > length) break;
    begin += segment;
  }
  return [begin, end];
}

// For labels and rows. `told`: where what tells a title from its neighbours begins; it is the last to be left out.
function cutMiddle(text, length, told = 0) {
  if (text.length <= length) return text;
  const rest = text.slice(told);
  if (told && rest.length > length - 4) {
    // Some letters tell a series from another.
    const begin = length < 20 ? "" : cut(text, length / 4 + 1).slice(0, -1);
    const end = cut(rest, length - 1 - begin.length);
    // Where there is no room for "number 12", the number alone says as much.
    const shown = /^[^\s\d]+ \d/.test(rest) && !/\d\b/.test(end) ? cut(rest.slice(rest.indexOf(" ") + 1), length - 1) : end;
    return `${begin.trimEnd()}…${shown.replace(/[\s,;:]+…$/, "…")}`;
  }
  const [begin, end] = told ? [cut(text, length - rest.length).slice(0, -1), rest] : halves(text, length - 1);
  return `${begin.trimEnd()}…${end.trimStart()}`;
}

// Cut where a word ends, if one ends near.
function cutWords(text, length) {
  return text.length > length ? `${text.slice(0, length).replace(/\s+\S{0,20}$/, "").replace(/[\s.,;:]+$/, "")}…` : text;
}

// A browser that cannot tell letters with their accents cuts between code points.
const segmenter = Intl.Segmenter ? new Intl.Segmenter() : { segment: (text) => Array.from(text, (segment) => ({ segment })) };

const map = JSON.parse(find("data").textContent);
const documents = map.documents;
const byPath = new Map(documents.map((each) => [each.path, each]));

// `into` and `out` of a document: the other document, and the lines of the links.
documents.forEach((each, number) => {
  Object.assign(each, { number, into: new Map(), out: new Map() });
  each.findings = each.broken.map(([line, target, message, suggestion, doubt]) => ({ line, target, message, suggestion, doubt }));
  each.broken = each.findings.filter(({ doubt }) => !doubt);
  each.doubtful = each.findings.filter(({ doubt }) => doubt);
  each.folder = each.path.slice(0, Math.max(0, each.path.lastIndexOf("/")));
});
for (const each of documents) {
  for (const [target, ...lines] of each.links) {
    each.out.set(documents[target], lines);
    documents[target].into.set(each, lines);
  }
}

const lastName = (path) => path.slice(path.lastIndexOf("/") + 1);

// `apart` tells documents of the same title apart: the innermost folder around one that is around none of the others,
// else all of its path to the folder, else its file.
for (const same of d3.group(documents, ({ title }) => title).values()) {
  if (same.length === 1) continue;
  const names = ({ folder }) => new Set(folder.split("/"));
  const around = d3.rollup(same.flatMap((each) => [...names(each)]), (all) => all.length, (name) => name);
  const inFolder = d3.rollup(same, (all) => all.length, ({ folder }) => folder);
  for (const each of same) {
    const own = [...names(each)].reverse().find((name) => name && around.get(name) === 1);
    each.apart = inFolder.get(each.folder) > 1 ? lastName(each.path) : own ?? (each.folder || each.path);
  }
}

// `told` of a title that begins as another in its folder does: where the words begin that tell the two apart, with the
// word before a number. 0 where too little is shared to be left out.
const LONG_SHARED = 8;
for (const beside of d3.group(documents, ({ folder }) => folder).values()) {
  beside.sort((one, other) => d3.ascending(one.title, other.title));
  const shared = d3.pairs(beside, ({ title: one }, { title: other }) => {
    let length = 0;
    while (length < one.length && one[length] === other[length]) length += 1;
    return one.lastIndexOf(" ", length - 1) + 1;
  });
  beside.forEach((each, index) => {
    const most = Math.max(shared[index - 1] ?? 0, shared[index] ?? 0);
    const begin = /^\d/.test(each.title.slice(most)) ? each.title.lastIndexOf(" ", most - 2) + 1 : most;
    each.told = most < LONG_SHARED || each.title === beside[index - 1]?.title || each.title === beside[index + 1]?.title ? 0 : begin;
  });
}

const isBelow = (folder, above) => above === "" || folder === above || folder.startsWith(`${above}/`);
// What is in no link is listed, not drawn; a broken link is one.
const isIsolated = (each) => each.into.size === 0 && each.out.size === 0 && each.broken.length === 0;
// Many links lead to what is central; among equals, the document that says more.
const byImportance = (one, other) => other.into.size - one.into.size || other.out.size - one.out.size;
const sum = (list, value) => list.reduce((total, each) => total + value(each), 0);

// The document that introduces a folder.
const indexOf = (() => {
  const found = new Map();
  for (const each of documents) {
    const name = each.path.slice(each.folder ? each.folder.length + 1 : 0).toLowerCase();
    const rank = ["index", "_index", "readme"].indexOf(name.replace(/\.\w+$/, ""));
    if (rank >= 0 && !(found.get(each.folder)?.rank <= rank)) found.set(each.folder, { rank, each });
  }
  return (folder) => (folder === "" && map.home !== null ? documents[map.home] : found.get(folder)?.each);
})();

// The document that a path leads to, seen from a folder; undefined for another file and an anchor alone.
function documentAt(folder, target) {
  const path = target.replace(/[?#].*$/, "");
  const steps = path.startsWith("/") ? [] : folder.split("/").filter(Boolean);
  for (const step of path.split("/")) {
    if (step === "..") steps.pop();
    else if (step !== "" && step !== ".") steps.push(step);
  }
  return path ? byPath.get(steps.join("/")) : undefined;
}

// The section that an anchor names: by its name, or by that as most programs make anchors of it.
function sectionNamed(each, anchor) {
  const slug = (name) => name.toLowerCase().replace(/[^\p{L}\p{M}\p{N}\p{Pc}\- ]/gu, "").replace(/ /g, "-");
  return each.sections.find(([, name]) => name === anchor || slug(name) === anchor);
}

// The innermost section that a line stands in.
function sectionAt(each, line) {
  return each.sections.findLast(([, , first, last]) => first <= line && line <= last);
}

// The first paragraph of a document that says something: a few words alone are a badge or a caption.
function firstParagraph(each) {
  const texts = [each.text, ...each.sections.slice(0, 3).map(([, , , , text]) => text)].filter(Boolean);
  return texts.find((text) => text.length > 30 || /[.!?:…]$/.test(text) || !/^[\x00-\x7f]*$/.test(text)) ?? texts[0] ?? "";
}

// Where the sections begin that say more than the title does: 1 after a section that is the whole document, else 0.
function outlineStart(each) {
  const [first, ...rest] = each.sections;
  return first && first[1] === each.title && rest.every(([depth]) => depth > 0) ? 1 : 0;
}

// The address of a line of a document's file; null where the page cannot know it.
function address(each, line) {
  if (map.link === null) return null;
  let path = each.href ?? each.path.split("/").map(encodeURIComponent).join("/");
  if (map.whole) {
    // An editor wants the whole path, which only the page in its place beside the folder knows.
    if (location.protocol !== "file:" || map.base === null) return null;
    path = new URL(`./${map.base}/${path}`, location.href).pathname.slice(1);
  }
  return map.link.replaceAll("{path}", () => path).replaceAll("{line}", line);
}

// A link into a file, plain text where there is no address.
function fileLink(each, line, text, properties = {}) {
  const href = address(each, line);
  return href === null ? element("span", { textContent: text, ...properties }) : element("a", { href, textContent: text, ...properties });
}

// The folders directly below one, and the documents that lie in it; a folder that only holds one thing is opened.
function partsOf(inside, folder) {
  const [own, deeper] = [[], new Map()];
  const begin = folder === "" ? 0 : folder.length + 1;
  for (const each of inside) {
    if (each.folder === folder) own.push(each);
    else {
      const end = each.path.indexOf("/", begin);
      const below = each.path.slice(0, end);
      if (deeper.has(below)) deeper.get(below).push(each);
      else deeper.set(below, [each]);
    }
  }
  const folders = [];
  for (let [below, members] of deeper) {
    if (members.length === 1) own.push(members[0]);
    else {
      for (;;) {
        const next = members[0].path.indexOf("/", below.length + 1);
        const deeperStill = next < 0 ? null : members[0].path.slice(0, next);
        if (deeperStill === null || !members.every(({ path }) => path.startsWith(`${deeperStill}/`))) break;
        below = deeperStill;
      }
      folders.push({ folder: below, members });
    }
  }
  return { folders, own };
}

// The folders that documents below `folder` fall into, largest first: none holds most of them where it can be divided,
// and small ones beyond `most` go together. { folder, members, label, own }; the label is null for what lies in
// `folder` itself, `own` tells that the area is no folder as a whole.
function areasOf(inside, folder, most) {
  const divide = (members, above) => {
    const { folders, own } = partsOf(members, above);
    return [...folders, { folder: above, members: own, own: true }].filter((part) => part.members.length);
  };
  let areas = divide(inside, folder);
  for (;;) {
    const [largest] = areas.filter(({ own }) => !own).sort((one, other) => other.members.length - one.members.length);
    if (!largest || largest.members.length < 8 || (areas.length > 1 && largest.members.length <= inside.length * 0.35)) break;
    areas = [...areas.filter((area) => area !== largest), ...divide(largest.members, largest.folder)];
  }
  // What lies alone needs no region of its own.
  const loose = areas.filter((area) => area.own && (area.folder === folder || area.members.length < 3));
  areas = areas.filter((area) => !loose.includes(area)).sort((one, other) => other.members.length - one.members.length);
  for (const area of areas) area.label = lastName(area.folder);
  if (areas.length > most) {
    const rest = areas.splice(most - 1);
    areas.push({ folder, own: true, members: rest.flatMap(({ members }) => members), label: `${rest.length} more folders`, rest });
  }
  if (loose.length) areas.push({ folder, own: true, members: loose.flatMap(({ members }) => members), label: null });
  return areas;
}
