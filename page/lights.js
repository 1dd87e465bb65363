  // The parts of each section, by what they belong to; found when the pointer is first over it.
  const found = new WeakMap();
  function partsOf(section) {
    if (found.has(section)) return found.get(section);
    const bytes = new Map(), entries = new Map();
    for (const part of section.querySelectorAll("pre [data-n]")) {
      const n = part.dataset.n;
      if (!bytes.has(n)) bytes.set(n, []);
      bytes.get(n).push(part);
    }
    for (const entry of section.querySelectorAll("li[data-n]")) entries.set(entry.dataset.n, entry);
    found.set(section, {bytes, entries});
    return found.get(section);
  }

  // Scrolls the other pane alone, never the page under the pointer.
  function bringIntoView(part) {
    const pane = part.closest("pre, section > div > ul");
    const from = part.offsetTop, to = from + part.offsetHeight;
    if (from < pane.scrollTop) pane.scrollTop = from - 8;
    else if (to > pane.scrollTop + pane.clientHeight) pane.scrollTop = to - pane.clientHeight + 8;
  }

  // A field's entry lights up all that belongs to it; a byte only its own entry.
  document.addEventListener("mouseover", (event) => {
    for (const part of document.querySelectorAll(".lit")) part.classList.remove("lit");
    const over = event.target.closest("[data-n]");
    if (!over) return;
    const {bytes, entries} = partsOf(over.closest("section"));
    const entry = entries.get(over.dataset.n);
    const inTree = over === entry;
    const parts = inTree ? [entry, ...entry.querySelectorAll("[data-n]")] : [entry];
    const lit = parts.flatMap((part) => bytes.get(part.dataset.n) ?? []);
    for (const part of [entry, ...lit]) part.classList.add("lit");
    if (!inTree) bringIntoView(entry.firstElementChild);
    else if (lit.length > 0) bringIntoView(lit[0]);
  });
