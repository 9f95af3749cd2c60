// The addresses of the views.

function address(view, parts) {
    const query = new URLSearchParams();
    for (const [name, value] of Object.entries(parts)) {
        if (value !== "" && value !== null && value !== undefined && value !== false)
            query.set(name, value);
    }
    return `#/${view}?${query}`;
}

export const links = {
    overview: "#/",
    directory: (name) => address("directory", { name }),
    /** `search` is that of readPage; `start` is the key after which the page begins. */
    table: ({ table, hash, condition, operands = [], isDown }, page, start) => address("table", {
        name: table, hash, condition, a: operands[0], b: operands[1], down: isDown ? 1 : "",
        page: page > 1 ? page : "", from: start ? JSON.stringify([start.hash, start.range]) : "" }),
    item: (table, hash, range) => address("item", { table, key: JSON.stringify([hash, range]) }),
    newItem: (table, hash) => address("new", { table, hash }),
};

/** The [hash, range] of an address; null if it has none. */
export function keyIn(text) {
    try {
        const [hash, range] = JSON.parse(text);
        return typeof hash === "string" && typeof range === "string" ? { hash, range } : null;
    } catch {
        return null;
    }
}
