// The outline: folders, documents and sections as a tree that makes the rows of a branch when it is first opened.
// Texts of documents reach the page through textContent only.

function element(tag, properties = {}, ...children) {
  const made = Object.assign(document.createElement(tag), properties);
  made.append(...children);
  return made;
}

// A branch with thousands of documents is shown in portions of this size.
const PORTION = 400;

class Tree {
  // `roots` and what `children()` returns: { kind, label, note, bad, id, children() or null }.
  // `choose` gets an entry that the user activates.
  constructor(list, roots, choose) {
    this.list = list;
    this.choose = choose;
    this.entries = new WeakMap();
    this.fill(list, roots, 1);
    list.querySelector("li")?.setAttribute("tabindex", "0");
    list.addEventListener("click", (event) => this.clicked(event));
    list.addEventListener("keydown", (event) => this.pressed(event));
  }

  fill(list, entries, level) {
    const rest = entries.slice(PORTION);
    list.append(...entries.slice(0, PORTION).map((entry) => this.item(entry, level)));
    if (rest.length) {
      const label = `${rest.length.toLocaleString()} more …`;
      list.append(this.item({ kind: "more", label, children: null, rest, level }, level));
    }
  }

  item(entry, level) {
    const name = element("span", { className: "name", textContent: entry.label, title: entry.label });
    const row = element("div", { className: "row" }, element("span", { className: "twist" }), name);
    if (entry.note) row.append(element("span", { className: "note", textContent: entry.note }));
    if (entry.bad) {
      row.append(element("span", { className: "note bad", textContent: `${entry.bad} broken` }));
    }
    const item = element("li", { className: entry.kind, role: "treeitem", tabIndex: -1 }, row);
    item.setAttribute("aria-level", level);
    item.setAttribute("aria-selected", "false");
    // Without a label of its own, an item would be read out with everything below it.
    item.setAttribute("aria-label", entry.bad ? `${entry.label}, ${entry.bad} broken links` : entry.label);
    if (entry.children) this.mark(item, false);
    this.entries.set(item, entry);
    if (entry.id !== undefined) item.dataset.id = entry.id;
    return item;
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
    this.list.querySelectorAll('li[tabindex="0"]').forEach((other) => (other.tabIndex = -1));
    item.tabIndex = 0;
    item.focus();
  }

  clicked(event) {
    const item = event.target.closest("li");
    if (!item) return;
    this.focus(item);
    const kind = this.entries.get(item).kind;
    if (event.target.closest(".twist") || kind === "folder") this.toggle(item);
    if (!event.target.closest(".twist")) this.activate(item);
  }

  // The item `step` rows further among those that can be seen.
  next(item, step) {
    const seen = [...this.list.querySelectorAll("li")].filter((other) => !other.parentElement.closest("ul[hidden]"));
    return seen[seen.indexOf(item) + step];
  }

  pressed(event) {
    const item = event.target.closest("li");
    if (!item || event.ctrlKey || event.metaKey || event.altKey) return;
    const above = item.parentElement.closest("li");
    const closed = item.getAttribute("aria-expanded") === "false";
    const moves = {
      ArrowDown: () => this.focus(this.next(item, 1)),
      ArrowUp: () => this.focus(this.next(item, -1)),
      ArrowRight: () => (closed ? this.toggle(item, true) : this.focus(item.querySelector(":scope > ul > li"))),
      ArrowLeft: () => (this.isOpen(item) ? this.toggle(item, false) : this.focus(above)),
      Home: () => this.focus(this.list.querySelector("li")),
      End: () => this.focus([...this.list.querySelectorAll("li")].filter((other) => other.offsetParent).pop()),
      Enter: () => this.activate(item),
      " ": () => this.activate(item),
    };
    if (!moves[event.key]) return;
    event.preventDefault();
    moves[event.key]();
  }

  // Opens the branches above the entry with the last of these ids, and marks it as chosen.
  reveal(ids) {
    this.list.querySelectorAll('[aria-selected="true"]').forEach((item) => item.setAttribute("aria-selected", "false"));
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
    item?.setAttribute("aria-selected", "true");
    item?.scrollIntoView({ block: "nearest" });
  }

  below(list, id) {
    for (;;) {
      const items = [...list.children];
      const found = items.find((item) => item.dataset.id === id);
      const last = items[items.length - 1];
      if (found || !last || this.entries.get(last).kind !== "more") return found;
      const { rest, level } = this.entries.get(last);
      last.remove();
      this.fill(list, rest, level);
    }
  }
}
