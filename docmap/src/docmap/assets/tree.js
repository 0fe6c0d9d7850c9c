// The outline: folders, documents and sections as a tree that makes the rows of a branch when it is first opened.

// A branch with thousands of documents is shown in portions of this size.
const PORTION = 400;
// Texts of fewer characters find room in one piece, or are not worth two.
const SHORT = 14;

// A text in two parts, the second of which is so short that it is always seen.
function splitForRow(text) {
  const end = halves(text, Math.min(26, text.length))[1];
  return [text.slice(0, text.length - end.length), end];
}

class Tree {
  // `roots` and what `children()` returns: { kind, label, spoken, note, bad, id, children() or null }.
  // `choose` gets an entry that the user activates.
  constructor(list, roots, choose) {
    this.list = list;
    this.choose = choose;
    this.entries = new WeakMap();
    this.fill(list, roots, 1);
    if (list.firstElementChild) this.makeStop(list.firstElementChild);
    list.addEventListener("click", (event) => this.clicked(event));
    list.addEventListener("keydown", (event) => this.pressed(event));
  }

  fill(list, entries, level, most = PORTION) {
    const rest = entries.slice(most);
    list.append(...entries.slice(0, most).map((entry) => this.item(entry, level)));
    if (rest.length) {
      const label = `${rest.length.toLocaleString()} more …`;
      list.append(this.item({ kind: "more", label, children: null, rest, level }, level));
    }
  }

  item(entry, level) {
    const row = element("div", { className: "row" }, element("span", { className: "twist", "aria-hidden": "true" }), this.name(entry));
    if (entry.beside) row.append(element("span", { className: "beside", textContent: cutMiddle(entry.beside, 30) }));
    if (entry.note) row.append(element("span", { className: "note", textContent: entry.note }));
    if (entry.bad) {
      row.append(element("span", { className: "note bad", textContent: `${entry.bad} broken` }));
    }
    const item = element("li", { className: entry.kind, role: "treeitem", tabIndex: -1 }, row);
    item.setAttribute("aria-level", level);
    item.setAttribute("aria-selected", "false");
    // Without a label of its own, an item would be read out with everything below it.
    item.setAttribute("aria-label", `${entry.spoken ?? entry.label}${entry.bad ? `, ${plural(entry.bad, "broken link")}` : ""}`);
    if (entry.children) this.mark(item, false);
    this.entries.set(item, entry);
    if (entry.id !== undefined) item.dataset.id = entry.id;
    return item;
  }

  // The text of a row in two parts: where room is short, the first gives way and the end stays.
  name({ label, told = 0 }) {
    const name = element("span", { className: "name", title: cut(label, 600), dir: "auto" });
    const text = cutMiddle(label, 120);
    if (text.length < SHORT) name.textContent = text;
    else if (told && text === label) {
      name.classList.add("parted", "told");
      name.append(...[text.slice(0, told), text.slice(told)].map((part) => element("span", { textContent: part })));
    }
    else {
      name.classList.add("parted");
      name.append(...splitForRow(text).map((part) => element("span", { textContent: part })));
    }
    return name;
  }

  mark(item, open) {
    item.setAttribute("aria-expanded", open);
    item.querySelector(".twist").textContent = open ? "▾" : "▸";
  }

  isOpen(item) {
    return item.getAttribute("aria-expanded") === "true";
  }

  toggle(item, open = !this.isOpen(item)) {
    const entry = this.entries.get(item);
    if (!entry.children) return;
    let below = item.querySelector(":scope > ul");
    if (open && !below) {
      below = element("ul", { role: "group" });
      this.fill(below, entry.children(), Number(item.getAttribute("aria-level")) + 1);
      item.append(below);
    }
    if (below) below.hidden = !open;
    this.mark(item, open);
  }

  showMore(item) {
    const { rest, level } = this.entries.get(item);
    const list = item.parentElement;
    const before = item.previousElementSibling;
    item.remove();
    this.fill(list, rest, level);
    this.focus(before.nextElementSibling);
  }

  activate(item) {
    const entry = this.entries.get(item);
    if (entry.kind === "more") this.showMore(item);
    else this.choose(entry);
  }

  focus(item) {
    if (!item) return;
    this.makeStop(item);
    item.focus();
  }

  // The one row that Tab stops at.
  makeStop(item) {
    if (this.stop) this.stop.tabIndex = -1;
    this.stop = item;
    item.tabIndex = 0;
  }

  clicked(event) {
    const item = event.target.closest("li");
    if (!item) return;
    this.focus(item);
    const kind = this.entries.get(item).kind;
    if (event.target.closest(".twist") || kind === "folder") this.toggle(item);
    if (!event.target.closest(".twist")) this.activate(item);
  }

  // The row above or below one that is seen; undefined at the ends.
  above(item) {
    let before = item.previousElementSibling;
    if (!before) return item.parentElement.closest("li") ?? undefined;
    while (this.isOpen(before)) before = before.lastElementChild.lastElementChild;
    return before;
  }

  under(item) {
    if (this.isOpen(item)) return item.lastElementChild.firstElementChild;
    for (let after = item; after; after = after.parentElement.closest("li")) {
      if (after.nextElementSibling) return after.nextElementSibling;
    }
    return undefined;
  }

  // The rows that can be seen, from top to bottom.
  seen() {
    const rows = [];
    for (let item = this.list.firstElementChild; item; item = this.under(item)) rows.push(item);
    return rows;
  }

  // Letters typed in a row move to the next row that begins with them.
  typed(item, letter) {
    const now = Date.now();
    this.letters = now - (this.typedAt ?? 0) < 700 ? this.letters + fold(letter) : fold(letter);
    this.typedAt = now;
    const seen = this.seen();
    // One letter again and again goes on from row to row.
    const same = [...this.letters].every((other) => other === this.letters[0]);
    const at = seen.indexOf(item) + (same ? 1 : 0);
    const order = [...seen.slice(at), ...seen.slice(0, at)];
    const begins = (letters) => order.find((other) => fold(this.entries.get(other).label).startsWith(letters));
    this.focus(begins(this.letters) ?? (same ? begins(this.letters[0]) : null));
  }

  pressed(event) {
    const item = event.target.closest("li");
    if (!item || event.ctrlKey || event.metaKey || event.altKey) return;
    const above = item.parentElement.closest("li");
    const closed = item.getAttribute("aria-expanded") === "false";
    const moves = {
      ArrowDown: () => this.focus(this.under(item)),
      ArrowUp: () => this.focus(this.above(item)),
      ArrowRight: () => (closed ? this.toggle(item, true) : this.focus(item.querySelector(":scope > ul > li"))),
      ArrowLeft: () => (this.isOpen(item) ? this.toggle(item, false) : this.focus(above)),
      Home: () => this.focus(this.list.querySelector("li")),
      End: () => this.focus(this.seen().pop()),
      Enter: () => this.activate(item),
      " ": () => this.activate(item),
    };
    if (!moves[event.key]) {
      if (event.key.length === 1 && event.key !== "/") this.typed(item, event.key);
      return;
    }
    event.preventDefault();
    this.typedAt = 0;
    moves[event.key]();
  }

  // Opens folders of at least this size, the largest first, while no more than `most` rows are seen; but some rows are.
  openSome(most, least) {
    let seen = this.list.children.length;
    const closed = new Set(this.list.querySelectorAll("li.folder"));
    for (;;) {
      const [item] = [...closed].sort((one, other) => this.entries.get(other).size - this.entries.get(one).size);
      if (!item || this.entries.get(item).size < least) return;
      closed.delete(item);
      const { length } = this.entries.get(item).children();
      if (seen + length > most && seen > most / 4) continue;
      this.toggle(item, true);
      item.querySelectorAll("li.folder").forEach((below) => closed.add(below));
      seen += length;
    }
  }

  // Opens the branches above the entry with the last of these ids, and marks it as chosen.
  reveal(ids) {
    this.selected?.setAttribute("aria-selected", "false");
    let list = this.list;
    let item = null;
    for (const id of ids) {
      if (item) {
        this.toggle(item, true);
        list = item.querySelector(":scope > ul");
      }
      item = this.below(list, String(id));
      if (!item) return;
    }
    if (!item) return;
    this.selected = item;
    item.setAttribute("aria-selected", "true");
    this.makeStop(item);
    // Only the tree's own box moves; a whole page would jump away from what is being read.
    const [box, row] = [this.list.getBoundingClientRect(), item.querySelector(".row").getBoundingClientRect()];
    if (row.top < box.top || row.bottom > box.bottom) this.list.scrollTop += row.top - box.top - box.height / 3;
  }

  below(list, id) {
    const found = [...list.children].find((item) => item.dataset.id === id);
    const last = list.lastElementChild;
    if (found || !last || this.entries.get(last).kind !== "more") return found;
    const { rest, level } = this.entries.get(last);
    const at = rest.findIndex((entry) => String(entry.id) === id);
    if (at < 0) return undefined;
    last.remove();
    this.fill(list, rest, level, at + PORTION);
    return [...list.children].find((item) => item.dataset.id === id);
  }
}
