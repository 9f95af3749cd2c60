// A table: its items, page by page, all of them or those of one hash key within a range.

import { keyNames } from "./api.js";
import { element, field, notice, replace, say, table } from "./dom.js";
import { count, directoryOf, line, tableOf } from "./format.js";
import { keyIn, links } from "./links.js";
import { conditionOf, Conditions, readPage, withoutRepeated } from "./pages.js";
import { columnsOf, preview } from "./values.js";

const PageSize = 50;
const MostColumns = 6;

const starts = new Map(); // by search, the start keys of the pages that were seen: what "Previous" needs

export async function tableView(content, { query, allowed }) {
    const search = {
        table: query.get("name") ?? "", hash: query.get("hash") ?? "", condition: query.get("condition") ?? "",
        operands: [query.get("a") ?? "", query.get("b") ?? ""], isDown: query.get("down") === "1" };
    const number = Math.max(1, Number.parseInt(query.get("page") ?? "1", 10) || 1);
    const start = keyIn(query.get("from"));
    const keys = await keyNames(search.table);
    const results = element("section", { "aria-label": "Items", "aria-busy": "true" });
    content.append(
        element("h1", null, element("bdi", null, line(tableOf(search.table), 200))),
        element("p", { class: "muted" }, element("a", { href: links.directory(directoryOf(search.table)) },
            element("bdi", null, line(directoryOf(search.table), 300))),
        ` · hash key ${line(keys.hash)}, range key ${line(keys.range)}`),
        searchForm(search, keys),
        results);
    const page = await readPage(search, start, PageSize);
    const items = withoutRepeated(page, start, keys.range);
    const seen = starts.get(searchName(search)) ?? [null];
    seen[number - 1] = start;
    starts.set(searchName(search), seen);
    results.removeAttribute("aria-busy");
    replace(results,
        pager({ search, number, next: page.next, previous: seen[number - 2], items, mayWrite: allowed.Write }),
        items.length > 0 ? itemTable(search.table, keys, items) : notice("note", "There are no such items."));
    say(`Page ${number}, ${items.length} items`);
}

function searchName({ table: name, hash, condition, operands, isDown }) {
    return JSON.stringify([name, hash, condition, operands, isDown]);
}

function searchForm(search, keys) {
    const hash = element("input", { value: search.hash, placeholder: "all", spellcheck: "false", autocomplete: "off" });
    const operator = element("select", null, Conditions.map(({ value, text }) =>
        element("option", { value, selected: value === search.condition }, text)));
    const [low, high] = search.operands.map((value) => element("input", { value, spellcheck: "false", autocomplete: "off" }));
    const order = element("select", null, element("option", { value: "" }, "ascending"),
        element("option", { value: "1", selected: search.isDown }, "descending"));
    const lowField = field("Value", low);
    const highField = field("And", high);
    const orderField = field("Order", order);

    function adapt() {
        const condition = conditionOf(operator.value);
        const isScan = hash.value === "";
        operator.disabled = isScan;
        lowField.hidden = isScan || condition.operands < 1;
        highField.hidden = isScan || condition.operands < 2;
        order.disabled = isScan || condition.value !== "";
        if (condition.value !== "" && !isScan)
            order.value = condition.isDown ? "1" : "";
    }
    hash.addEventListener("input", adapt);
    operator.addEventListener("change", adapt);
    adapt();
    return element("form", { class: "row search", role: "search", onsubmit: (event) => {
        event.preventDefault();
        const isScan = hash.value === "";
        const { value, operands } = conditionOf(isScan ? "" : operator.value);
        const wanted = links.table({ table: search.table, hash: hash.value, condition: value,
            operands: [low.value, high.value].slice(0, operands), isDown: !isScan && value === "" && order.value === "1" });
        if (location.hash === wanted)
            dispatchEvent(new HashChangeEvent("hashchange")); // reads the page again
        else
            location.hash = wanted;
    } },
    field(line(keys.hash ?? "Hash key"), hash), field(line(keys.range ?? "Range key"), operator), lowField, highField,
    orderField, element("button", { class: "primary" }, "Show"),
    search.hash === "" ? null : element("a", { class: "button", href: links.table({ table: search.table }) }, "All items"));
}

function pager({ search, number, next, previous, items, mayWrite }) {
    const to = (text, target, rel) => (target === undefined ? element("span", { class: "button off" }, text)
        : element("a", { class: "button", href: target, rel }, text));
    return element("div", { class: "bar" },
        element("span", { id: "page" }, `Page ${count(number)} · ${count(items.length)} items`),
        element("span", { class: "space" }),
        mayWrite ? element("a", { class: "button", href: links.newItem(search.table, search.hash) }, "New item") : null,
        element("span", { class: "pages", role: "group", "aria-label": "Pages" },
            to("First", number > 1 ? links.table(search) : undefined, "first"),
            to("Previous", number > 1 && previous !== undefined ? links.table(search, number - 1, previous) : undefined, "prev"),
            to("Next", next ? links.table(search, number + 1, next) : undefined, "next")));
}

function itemTable(name, keys, items) {
    const columns = columnsOf(items, [keys.hash, keys.range], MostColumns);
    const shownNames = new Set([keys.hash, keys.range, ...columns.map((column) => column.name)]);
    const hasMore = items.some((item) => Object.keys(item).some((attribute) => !shownNames.has(attribute)));
    const rows = items.map((item) => {
        const [hash, range] = [item[keys.hash]?.S ?? "", item[keys.range]?.S ?? ""];
        const link = element("a", { href: links.item(name, hash, range) }, keyText(hash));
        const more = Object.keys(item).filter((attribute) => !shownNames.has(attribute)).length;
        return [link, keyText(range), ...columns.map((column) => cell(item[column.name])),
            ...(hasMore ? [more > 0 ? `+ ${more}` : ""] : [])];
    });
    return table("Items", [{ title: line(keys.hash) }, { title: line(keys.range) },
        ...columns.map((column) => ({ title: line(column.name, 60), number: column.number })),
        ...(hasMore ? [{ title: "More" }] : [])], rows);
}

function keyText(key) {
    return key === "" ? element("i", { class: "muted" }, "empty") : element("bdi", null, line(key));
}

function cell(value) {
    return value === undefined ? "" : element("bdi", null, preview(value));
}
