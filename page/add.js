  // Adds an element to another, with its attributes and text.
  function add(parent, name, attributes, text) {
    const inSvg = name === "svg" || parent.namespaceURI?.endsWith("svg");
    const made = inSvg ? document.createElementNS("http://www.w3.org/2000/svg", name) : document.createElement(name);
    for (const [key, value] of Object.entries(attributes ?? {})) made.setAttribute(key, value);
    if (text !== undefined) made.textContent = text;
    return parent.appendChild(made);
  }
