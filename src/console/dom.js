// Only these functions build elements. Text always becomes a text node, so nothing that is stored in a table can become
// markup.

/**
 * An element with attributes and children. An attribute that begins with "on" is a listener, one that is true is set
 * without a value, and one that is false, null or undefined is omitted. Children that are not nodes become text; null,
 * undefined and false are omitted.
 */
export function element(name, attributes, ...children) {
    return fill(document.createElement(name), attributes, children);
}

/** The same for SVG. */
export function drawing(name, attributes, ...children) {
    return fill(document.createElementNS("http://www.w3.org/2000/svg", name), attributes, children);
}

function fill(made, attributes, children) {
    for (const [name, value] of Object.entries(attributes ?? {})) {
        if (name.startsWith("on"))
            made.addEventListener(name.slice(2), value);
        else if (value === true)
            made.setAttribute(name, "");
        else if (value !== false && value !== null && value !== undefined)
            made.setAttribute(name, value);
    }
    made.append(...shown(children));
    return made;
}

/** Replaces the children of an element. */
export function replace(parent, ...children) {
    parent.replaceChildren(...shown(children));
    return parent;
}

function shown(children) {
    return children.flat(Infinity).filter((child) => child !== null && child !== undefined && child !== false);
}

/** A message for screen readers only; the page shows the same. */
export function say(text) {
    document.getElementById("said").textContent = text;
}

let labels = 0;

/** A label and its control, which gets an id. */
export function field(label, control, hint) {
    control.id ||= `field${++labels}`;
    const described = hint ? element("small", { id: `${control.id}hint` }, hint) : null;
    if (described)
        control.setAttribute("aria-describedby", described.id);
    return element("div", { class: "field" },
        element("span", { class: "label" }, element("label", { for: control.id }, label), described), control);
}

/** A message at the place that it is about. `kind` is "error", "note" or "done". */
export function notice(kind, ...children) {
    return element("div", { class: `notice ${kind}`, role: kind === "error" ? "alert" : "status" }, ...children);
}

/**
 * A table with a caption for screen readers, in a region that scrolls by itself when it is wide. A column is {title,
 * number}; a row is a list of cells, the first of which names the row.
 */
export function table(caption, columns, rows) {
    const style = (column) => (column?.number ? "number" : null);
    const head = columns.map((column) => element("th", { scope: "col", class: style(column) }, column.title));
    const body = rows.map((cells) => element("tr", null, cells.map((cell, at) =>
        element(at === 0 ? "th" : "td", { scope: at === 0 ? "row" : null, class: style(columns[at]) }, cell))));
    return element("div", { class: "wide", role: "region", "aria-label": caption, tabindex: 0 },
        element("table", null, element("caption", { class: "unseen" }, caption),
            element("thead", null, element("tr", null, head)), element("tbody", null, body)));
}

/**
 * Asks a question, and returns a promise of whether the answer was yes. Escape and the initially focused button
 * decline.
 */
export function ask(question, details, consent) {
    return new Promise((resolve) => {
        const title = element("h2", { id: "question" }, question);
        const dialog = element("dialog", { "aria-labelledby": "question", onclose: () => {
            dialog.remove();
            resolve(dialog.returnValue === "yes");
        } },
        element("form", { method: "dialog" }, title, details,
            element("div", { class: "buttons" },
                element("button", { value: "no", autofocus: true }, "Cancel"),
                element("button", { value: "yes", class: "danger" }, consent))));
        document.body.append(dialog);
        dialog.showModal();
    });
}
