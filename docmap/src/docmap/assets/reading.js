// What is chosen, in words: what it is, where it lies, what it says, what is broken in it, what it is linked with.

const MOST_ROWS = 60;
const LONG_TITLE = 140;
const FEW_DOCUMENTS = 12;
// What documents are called, or their files, that say themselves that a reader begins there; the surest first.
const BEGINNINGS = [/^(getting|get)[ -]?started\b|^quick[ -]?start\b|^first[ -]steps\b/, /^intro(duction)?\b/, /^tutorial\b/];
const MOST_BEGINNINGS = 3;

// A heading that may be too long to be shown whole.
function title(text) {
  const heading = element("h2", { tabIndex: -1, textContent: cut(text, LONG_TITLE) });
  if (text.length <= LONG_TITLE) return [heading];
  const whole = element("button", { type: "button", className: "small", textContent: "Show the whole title" });
  whole.onclick = () => { heading.textContent = text; heading.focus(); whole.remove(); };
  return [heading, whole];
}

// A list under a heading; only its first rows, or those around `at`, until the reader asks for all.
function list(name, rows, make, { note = null, className = "", folded = false, most = MOST_ROWS, at = 0 } = {}) {
  if (!rows.length) return [];
  const items = element("ul", { className });
  const add = (some) => items.append(...some.map((row) => element("li", {}, make(row))));
  const begin = at < most ? 0 : Math.min(at - most / 2, rows.length - most);
  if (begin) items.append(element("li", { className: "faint", textContent: `After ${begin.toLocaleString()} more:` }));
  add(rows.slice(begin, begin + most));
  const section = folded ? element("details", { className: "group" }) : element("section", { className: "group" });
  const heading = [`${name} `, element("span", { className: "count", textContent: rows.length.toLocaleString() })];
  section.append(folded ? element("summary", {}, ...heading) : element("h3", {}, ...heading));
  if (note) section.append(element("p", { className: "faint", textContent: note }));
  section.append(items);
  if (rows.length > most) {
    const more = element("button", { type: "button", className: "small", textContent: `Show all ${rows.length.toLocaleString()}` });
    more.onclick = () => {
      if (begin) items.replaceChildren();
      add(rows.slice(begin ? 0 : most));
      more.remove();
      const added = items.children[begin ? 0 : most];
      added.tabIndex = -1;
      added.focus();
    };
    section.append(more);
  }
  return [section];
}

// What the introduction links to comes first, in its order; then what documents elsewhere link to most, such as a guide
// before tests, then what lies nearest to the root and what is large.
function foldersFirstToRead(folders, index) {
  const key = ({ folder, members }) => {
    const inside = new Set(members);
    const lines = members.flatMap((each) => index?.out.get(each) ?? []);
    const links = sum(members, (each) => [...each.into.keys()].filter((other) => !inside.has(other)).length);
    return [lines.reduce((first, line) => Math.min(first, line), Infinity), -links, folder.split("/").length, -members.length];
  };
  const keys = new Map(folders.map((part) => [part, key(part)]));
  return [...folders].sort((one, other) => {
    const [first, second] = [keys.get(one), keys.get(other)];
    const at = first.findIndex((value, place) => value !== second[place]);
    return at < 0 ? 0 : first[at] < second[at] ? -1 : 1;
  });
}

// The documents by which to begin: the outermost of those that are called so, and of these the surest.
function beginningsAmong(inside) {
  const sure = (each) => BEGINNINGS.findIndex((names) => names.test(fold(each.title)) || names.test(lastName(each.path).toLowerCase()));
  const best = (some, value) => some.filter((each) => value(each) === d3.min(some, value));
  const named = inside.filter((each) => each.into.size && sure(each) >= 0);
  return best(best(named, ({ path }) => path.split("/").length), sure).sort(byImportance).slice(0, MOST_BEGINNINGS);
}

function folderOrder(folders, index) {
  if (folders.length < 2) return null;
  const introduced = folders.some(({ members }) => members.some((each) => index?.out.has(each)));
  return introduced ? "As the introduction links to them, then those that other documents link to most." : "Those that other documents link to most come first.";
}

class Reading {
  // `href` makes the address of a place within this page.
  constructor(pane, href) {
    Object.assign(this, { pane, href });
  }

  show(...content) {
    this.pane.replaceChildren(...content.flat());
    this.pane.scrollTop = 0;
  }

  focus() {
    const aim = this.pane.querySelector(".here") ?? this.pane.querySelector("h2");
    aim.focus({ preventScroll: true });
    // On a page that scrolls as a whole the reading may be out of sight.
    if (aim.matches(".here")) aim.scrollIntoView({ block: "center" });
    else this.pane.scrollIntoView({ block: "start" });
  }

  // The links and buttons that Tab stops at, to find one again by its place and text.
  stops() {
    return [...this.pane.querySelectorAll("a, button")];
  }

  to(place, text, properties = {}) {
    return element("a", { href: this.href(place), textContent: text, ...properties });
  }

  toDocument(each, properties) {
    return this.to({ document: each.path }, cutMiddle(each.title, 90), { title: each.path, ...properties });
  }

  // With what tells it from others of the same title.
  named(each) {
    return [this.toDocument(each), each.apart ? element("span", { className: "faint", textContent: ` ${cutMiddle(each.apart, 60)}` }) : null];
  }

  trail(folder, { self }) {
    const names = folder === "" ? [] : folder.split("/");
    const steps = self && !names.length ? [] : [this.to({}, cut(map.title, 40))];
    names.forEach((name, depth) => {
      const last = self && depth === names.length - 1;
      steps.push(" / ", last ? name : this.to({ folder: names.slice(0, depth + 1).join("/") }, name));
    });
    return element("nav", { className: "trail", "aria-label": "Place" }, ...steps);
  }

  // --- a document --------------------------------------------------------------------------------------------------

  showDocument(each, line) {
    const here = line ? sectionAt(each, line) : null;
    const text = firstParagraph(each);
    // The outline repeats neither the title nor the paragraph that stand above it.
    const sections = each.sections.slice(outlineStart(each));
    const top = sections.length ? Math.min(...sections.map(([depth]) => depth)) : 0;
    const facts = [plural(each.sections.length, "section"), `linked from ${plural(each.into.size, "document")}`, `links to ${each.out.size.toLocaleString()}`];
    this.show(
      this.trail(each.folder, { self: false }),
      title(each.title),
      element("p", { className: "file" }, fileLink(each, 1, each.path), element("span", { className: "faint", textContent: ` · ${facts.join(" · ")}` })),
      text ? element("p", { className: "lead", textContent: text }) : [],
      this.findings("Broken links", each.broken, each),
      list("Outline", sections, (section) => {
        const [depth, name, begin, , paragraph] = section;
        const marked = here === section;
        const row = element("div", { className: marked ? "section here" : "section", tabIndex: marked ? -1 : undefined },
          fileLink(each, begin, cut(name || "(no text)", 200)), element("span", { className: "line", textContent: ` line ${begin}` }),
          paragraph && paragraph !== text ? element("p", { className: "faint", textContent: paragraph }) : null);
        if (!marked) row.removeAttribute("tabindex");
        row.style.marginLeft = `${Math.min(depth - top, 8) * 1.1}rem`;
        return row;
      }, { className: "outline", at: here ? Math.max(0, sections.indexOf(here)) : 0 }),
      this.links("Links to", each.out, () => each),
      this.links("Linked from", each.into, (other) => other),
      this.findings("Doubtful links", each.doubtful, each),
    );
  }

  // The other documents; below each, the lines of the links, in the document `holder(other)`, with their sections.
  links(name, ends, holder) {
    const rows = [...ends].sort(([one], [other]) => byImportance(one, other));
    return list(name, rows, ([other, lines]) => {
      const from = holder(other);
      const places = lines.slice(0, 6).map((line) => {
        const section = sectionAt(from, line);
        return element("span", { className: "place" }, fileLink(from, line, `line ${line}`), section && section[1] !== from.title ? ` in “${cut(section[1], 60)}”` : "");
      });
      const rest = lines.length > places.length ? ` and ${lines.length - places.length} more` : "";
      return [...this.named(other), element("div", { className: "faint" }, ...places.flatMap((place, index) => (index ? [", ", place] : [place])), rest)];
    });
  }

  findings(name, findings, each) {
    return list(name, findings, ({ line, message, suggestion, doubt }) => element("div", { className: doubt ? "finding doubt" : "finding" },
      this.finding(each, { line, message, suggestion }),
      doubt ? element("span", { className: "faint", textContent: ` (${doubt})` }) : null));
  }

  // A fault in words; what it names is a link where it is a document of the folder, or a heading of one.
  finding(each, { line, message, suggestion }) {
    const [, before, path] = /^(.* in )(.+)$/.exec(message) ?? [];
    const place = byPath.get(path);
    const said = place ? [before, this.to({ document: place.path }, path)] : message;
    const [target, anchor] = (suggestion ?? "").split("#");
    const meant = target === "" && anchor ? place ?? each : documentAt(each.folder, target);
    const section = meant && anchor ? sectionNamed(meant, anchor) : undefined;
    const leads = meant && (target !== "" || section);
    const name = leads ? this.to({ document: meant.path, line: section?.[2] }, suggestion) : suggestion;
    return [fileLink(each, line, `line ${line}`), ": ", said,
      suggestion ? element("span", { className: "meant" }, "; did you mean ", element("b", {}, name), "?") : null];
  }

  // --- a folder ----------------------------------------------------------------------------------------------------

  showFolder(folder) {
    const inside = documents.filter((each) => isBelow(each.folder, folder));
    if (!inside.length) {
      this.show(title(folder === "" ? map.title : folder), element("p", { className: "lead", textContent: "No Markdown documents are in this folder." }),
        folder === "" ? [] : element("p", {}, this.to({}, "Show the whole folder")));
      return;
    }
    const index = indexOf(folder);
    const name = folder === "" ? map.title : index?.title ?? lastName(folder);
    // A few documents are a list by themselves.
    const few = inside.length <= FEW_DOCUMENTS;
    const areas = few ? [] : areasOf(inside, folder, Infinity);
    const folders = foldersFirstToRead(areas.filter(({ label }) => label !== null), index);
    const alone = inside.filter(isIsolated);
    // Of a few documents all are listed, each once.
    const apart = few && alone.length === inside.length ? [] : alone;
    const own = few ? inside.filter((each) => !apart.includes(each)).sort(byImportance) : areas.find(({ label }) => label === null)?.members ?? [];
    const sections = sum(inside, (each) => each.sections.length);
    const central = inside.filter((each) => !few && each.into.size > 1 && each !== index).sort(byImportance).slice(0, 5);
    const beginnings = few ? [] : beginningsAmong(inside.filter((each) => each !== index));
    const wrong = inside.filter((each) => each.broken.length).sort((one, other) => other.broken.length - one.broken.length);
    const links = sum(inside, (each) => sum([...each.out.values()], (lines) => lines.length));
    const facts = [plural(inside.length, "document"), plural(sections, "section"), plural(links, "link") + " between documents"];
    const broken = sum(wrong, (each) => each.broken.length);
    this.show(
      this.trail(folder, { self: true }),
      title(name),
      element("p", { className: "file" }, index ? [this.to({ document: index.path }, index.path), " · "] : [],
        element("span", { className: "faint", textContent: facts.join(" · ") })),
      index && firstParagraph(index) ? element("p", { className: "lead", textContent: firstParagraph(index) }) : [],
      element("p", { className: "verdict" }, broken ? this.jump(`▲ ${plural(broken, "broken link")} in ${plural(wrong.length, "document")}`, "broken") : "✓ No broken links"),
      beginnings.length ? element("p", { className: "beginnings" }, "Where to begin: ", ...beginnings.flatMap((each, place) => [place ? ", " : "", ...this.named(each)])) : [],
      list("Most linked documents", central, (each) => this.described(each)),
      list("Folders", folders, (part) => this.folderRow(part, folder), { most: 24, note: folderOrder(folders, index) }),
      list("Documents with broken links", wrong, (each) => [...this.named(each),
        element("ul", {}, each.broken.slice(0, 3).map(({ line, message, suggestion }) => element("li", { className: "finding" }, this.finding(each, { line, message, suggestion }))),
        each.broken.length > 3 ? element("li", { className: "faint", textContent: `and ${each.broken.length - 3} more` }) : null)], { className: "broken", most: 10 }),
      list(folders.length ? "Documents beside the folders" : "Documents", own.filter((each) => each !== index), (each) => this.described(each), { most: 30 }),
      list("Not linked", apart.filter((each) => !few || each !== index), (each) => few ? this.described(each) : [this.toDocument(each), element("span", { className: "faint", textContent: ` ${each.path}` })],
        { note: "No document links to these, and they link to none.", folded: !few && apart.length > 5 }),
    );
  }

  // A button that goes to the list of this class.
  jump(text, className) {
    const made = element("button", { type: "button", className: "jump bad", textContent: text });
    made.onclick = () => {
      const heading = this.pane.querySelector(`ul.${className}`).parentElement.firstElementChild;
      heading.tabIndex = -1;
      heading.focus({ preventScroll: true });
      heading.scrollIntoView({ block: "start" });
    };
    return made;
  }

  described(each) {
    const text = firstParagraph(each);
    return [
      ...this.named(each),
      each.into.size ? element("span", { className: "line", textContent: ` linked from ${each.into.size.toLocaleString()}` }) : null,
      text ? element("p", { className: "faint", textContent: cutWords(text, 110) }) : null,
    ];
  }

  folderRow({ folder, members }, above) {
    const index = indexOf(folder);
    const broken = sum(members, (each) => each.broken.length);
    const name = index?.title;
    const shown = folder.slice(above ? above.length + 1 : 0);
    const says = (index && firstParagraph(index)) || [...new Set([...members].sort(byImportance).map((each) => cutMiddle(each.title, 40, each.told)))].slice(0, 4).join(", ");
    return [this.to({ folder }, `${shown || lastName(folder)}/`),
      name && fold(name) !== fold(lastName(folder)) ? ` ${cut(name, 60)}` : "",
      element("span", { className: "line", textContent: ` ${plural(members.length, "document")}` }),
      broken ? element("span", { className: "line bad", textContent: ` ▲ ${broken.toLocaleString()} broken` }) : null,
      element("p", { className: "faint", textContent: cutWords(says, 110) })];
  }
}
