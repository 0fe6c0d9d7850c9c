// The search: one row a document, the best first, with the section that fits best.

const MOST_RESULTS = 60;

// Letters as they are compared: case and accents dropped.
function fold(text) {
  const lower = text.toLowerCase();
  return /^[\x00-\x7f]*$/.test(lower) ? lower : lower.normalize("NFKD").replace(/\p{M}/gu, "");
}

// Whether a word goes on before a place in a text.
function isInWord(text, at) {
  const code = text.charCodeAt(at - 1);
  if (code >= 128) return /[\p{L}\p{N}]/u.test(text[at - 1]);
  return (code >= 97 && code <= 122) || (code >= 48 && code <= 57);
}

// How well a folded text fits: 0 exact, 1 its beginning, 2 the beginnings of its words, 3 any part; 4 not.
function fit(text, query, words) {
  if (text.startsWith(query)) return text.length === query.length ? 0 : 1;
  let result = 2;
  for (const word of words) {
    let at = text.indexOf(word);
    if (at < 0) return 4;
    while (at > 0 && isInWord(text, at)) at = text.indexOf(word, at + 1);
    if (at < 0) result = 3;
  }
  return result;
}

// A rank is what was found, how well it fits: the lower the better.
const [TITLE, FILE, HEADING, PATH, PARAGRAPH] = [0, 1, 2, 3, 4];
const RANKS = 25;
const rankOf = (where, fits) => fits * 5 + where;

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

  // Documents that hold every word: how many there are, and the best of them, best first:
  // { each, section (a row of its sections) or null }.
  results(text, most = MOST_RESULTS) {
    const query = fold(text).trim().replace(/\s+/g, " ");
    const words = query.split(" ");
    while (this.keys.length < this.all.length) this.prepare(this.keys.length);
    const ranked = Array.from({ length: RANKS }, () => []);
    let count = 0;
    this.all.forEach((each, number) => {
      const key = this.keys[number];
      if (!words.every((word) => key.whole.includes(word))) return;
      count += 1;
      const { rank, section } = this.ranked(each, key, query, words);
      ranked[rank].push({ each, section });
    });
    // Only so many ranks are put in order as are shown.
    const rows = [];
    for (const same of ranked) {
      if (rows.length >= most) break;
      rows.push(...same.sort((one, other) => byImportance(one.each, other.each) || one.each.title.length - other.each.title.length).slice(0, most));
    }
    return { count, rows: rows.slice(0, most) };
  }

  // Where a document fits best, and in which of its sections. What cannot better the rank is not read.
  ranked(each, key, query, words) {
    let rank = rankOf(TITLE, fit(key.title, query, words));
    let section = null;
    const consider = (where, fits, row) => {
      if (rankOf(where, fits) < rank) [rank, section] = [rankOf(where, fits), row];
    };
    if (rank > rankOf(FILE, 0)) consider(FILE, fit(key.file, query, words), null);
    if (rank > rankOf(PATH, 0)) consider(PATH, fit(key.path, query, words), null);
    for (let index = 0; index < key.names.length && rank > rankOf(HEADING, 0); index += 1) {
      consider(HEADING, fit(key.names[index], query, words), each.sections[index]);
    }
    // A paragraph counts by the words in it alone: how it begins says nothing, and two letters say nothing.
    for (let index = 0; index < key.texts.length && rank > rankOf(PARAGRAPH, 2) && query.length > 2; index += 1) {
      consider(PARAGRAPH, Math.max(2, fit(key.texts[index], query, words)), each.sections[index - 1] ?? null);
    }
    return { rank, section };
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
    const { count, rows } = asked ? this.search.results(this.box.value) : { count: 0, rows: [] };
    this.rows = rows;
    this.list.replaceChildren(...this.rows.map(({ each, section }, index) =>
      element("li", { role: "option", id: `result-${index}`, "aria-selected": "false" },
        element("span", { className: "name", textContent: cutMiddle(each.title, 200), title: cut(each.title, 600) }),
        section ? element("span", { className: "within", textContent: `§ ${section[1]}` }) : null,
        element("small", { textContent: section ? `${each.path}, line ${section[2]}` : each.path }))));
    const rest = count > rows.length ? `, the best ${rows.length} shown` : "";
    this.status.textContent = !asked ? "" : count ? `${plural(count, "document")}${rest}` : "Nothing found";
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
