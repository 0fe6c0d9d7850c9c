// The search: one row a document, the best first, with the section that fits best.

const MOST_RESULTS = 60;

// Letters as they are compared: case and accents dropped.
function fold(text) {
  const lower = text.toLowerCase();
  return /^[\x00-\x7f]*$/.test(lower) ? lower : lower.normalize("NFKD").replace(/\p{M}/gu, "");
}

// How well a folded text fits: 0 exact, 1 its beginning, 2 the beginnings of its words, 3 any part; 4 not.
function fit(text, query, words) {
  if (text === query) return 0;
  if (text.startsWith(query)) return 1;
  let result = 2;
  for (const word of words) {
    let at = text.indexOf(word);
    if (at < 0) return 4;
    while (at > 0 && /[\p{L}\p{N}]/u.test(text[at - 1])) at = text.indexOf(word, at + 1);
    if (at < 0) result = 3;
  }
  return result;
}

class Search {
  constructor(all) {
    this.all = all;
    this.keys = [];
    // Folding thousands of texts takes a moment, so it is done before the first letter is typed.
    const wait = window.requestIdleCallback ?? ((work) => setTimeout(() => work({ timeRemaining: () => 20 }), 50));
    const some = (deadline) => {
      while (this.keys.length < all.length && deadline.timeRemaining() > 2) this.prepare(this.keys.length);
      if (this.keys.length < all.length) wait(some);
    };
    wait(some);
  }

  prepare(number) {
    const each = this.all[number];
    const names = each.sections.map(([, name]) => fold(name));
    const texts = [each.text, ...each.sections.map(([, , , , text]) => text ?? "")].map(fold);
    const key = { title: fold(each.title), file: fold(lastName(each.path)), path: fold(each.path), names, texts };
    key.whole = [key.title, key.path, ...names, ...texts].join("\n");
    this.keys.push(key);
  }

  // All documents that hold every word, best first: { each, section (a row of its sections) or null }.
  results(text) {
    const query = fold(text).trim().replace(/\s+/g, " ");
    const words = query.split(" ");
    while (this.keys.length < this.all.length) this.prepare(this.keys.length);
    const found = [];
    for (const [number, each] of this.all.entries()) {
      const key = this.keys[number];
      if (!words.every((word) => key.whole.includes(word))) continue;
      const named = Math.min(fit(key.title, query, words) * 5, fit(key.file, query, words) * 5 + 1);
      let [best, section] = [Math.min(named, fit(key.path, query, words) * 5 + 3), null];
      const consider = (rank, row) => { if (rank < best) [best, section] = [rank, row]; };
      if (best > 2) key.names.forEach((name, index) => consider(fit(name, query, words) * 5 + 2, each.sections[index]));
      // A paragraph counts by the words in it alone: how it begins says nothing, and two letters say nothing.
      if (best > 14 && query.length > 2) key.texts.forEach((paragraph, index) => consider(Math.max(2, fit(paragraph, query, words)) * 5 + 4, each.sections[index - 1] ?? null));
      found.push({ each, best, section });
    }
    return found.sort((one, other) => one.best - other.best || byImportance(one.each, other.each) || one.each.title.length - other.each.title.length);
  }
}

// The box with its list: focus stays in the box, arrows move a mark through the rows, Enter takes the marked one.
class SearchBox {
  constructor(box, list, status, search, choose, shown) {
    Object.assign(this, { box, list, status, search, choose, shown, at: 0, rows: [] });
    box.addEventListener("input", () => this.update());
    box.addEventListener("keydown", (event) => this.pressed(event));
    list.addEventListener("click", (event) => {
      const option = event.target.closest("li");
      if (option) this.take([...list.children].indexOf(option));
    });
  }

  clear() {
    this.box.value = "";
    this.update();
  }

  update() {
    const asked = this.box.value.trim() !== "";
    const found = asked ? this.search.results(this.box.value) : [];
    this.rows = found.slice(0, MOST_RESULTS);
    this.list.replaceChildren(...this.rows.map(({ each, section }, index) =>
      element("li", { role: "option", id: `result-${index}`, "aria-selected": "false" },
        element("span", { className: "name", textContent: each.title }),
        section ? element("span", { className: "within", textContent: `§ ${section[1]}` }) : null,
        element("small", { textContent: section ? `${each.path}, line ${section[2]}` : each.path }))));
    const rest = found.length > MOST_RESULTS ? `, the best ${MOST_RESULTS} shown` : "";
    this.status.textContent = !asked ? "" : found.length ? `${plural(found.length, "document")}${rest}` : "Nothing found";
    this.list.hidden = !this.rows.length;
    this.box.setAttribute("aria-expanded", String(this.rows.length > 0));
    this.shown(asked);
    this.mark(0);
  }

  mark(index) {
    this.list.children[this.at]?.setAttribute("aria-selected", "false");
    this.at = index;
    const row = this.list.children[index];
    row?.setAttribute("aria-selected", "true");
    row?.scrollIntoView({ block: "nearest" });
    if (row) this.box.setAttribute("aria-activedescendant", row.id);
    else this.box.removeAttribute("aria-activedescendant");
  }

  take(index) {
    const row = this.rows[index];
    if (!row) return;
    this.clear();
    this.choose({ document: row.each.path, line: row.section?.[2] });
  }

  pressed(event) {
    const last = this.rows.length - 1;
    const moves = {
      ArrowDown: () => this.mark(Math.min(this.at + 1, last)),
      ArrowUp: () => this.mark(Math.max(this.at - 1, 0)),
      Enter: () => this.take(this.at),
      Escape: () => this.clear(),
    };
    if (!moves[event.key] || event.isComposing || (last < 0 && event.key !== "Escape")) return;
    event.preventDefault();
    moves[event.key]();
  }
}
