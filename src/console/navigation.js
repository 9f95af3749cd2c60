// The directories and their tables, beside every view.

import { call, Failure } from "./api.js";
import { element, replace } from "./dom.js";
import { line, tableOf } from "./format.js";
import { latest, onReport } from "./live.js";
import { links } from "./links.js";

const navigation = document.getElementById("navigation");
let known = "";
let allowed = null;

/**
 * The directories that were given and those that are open: [{name, listing, error}]. One that was given and is open is
 * listed once, under the given name.
 */
async function directories() {
    const found = new Map();
    const open = (latest()?.Environments ?? []).map((environment) => environment.Directory);
    for (const name of [...allowed.Directories, ...open]) {
        if (found.has(name))
            continue;
        try {
            const listing = await call("ListTables", { Directory: name });
            if (!found.has(listing.Directory))
                found.set(listing.Directory, { name, listing });
        } catch (error) {
            if (!(error instanceof Failure))
                throw error;
            found.set(name, { name, error });
        }
    }
    return [...found.values()];
}

export async function showNavigation(settings) {
    allowed = settings;
    known = openTables();
    const list = await directories();
    const focused = navigation.contains(document.activeElement) ? document.activeElement.getAttribute("href") : null;
    replace(navigation,
        element("a", { class: "place", href: links.overview }, "Live"),
        element("h2", null, "Directories"),
        list.length === 0
            ? element("p", { class: "muted" }, "None is open, and none was given with --directory.") : null,
        element("ul", { class: "directories" }, list.map(shownDirectory)));
    markCurrent();
    if (focused !== null)
        [...navigation.querySelectorAll("a")].find((link) => link.getAttribute("href") === focused)?.focus();
}

function shownDirectory({ name, listing, error }) {
    return element("li", null,
        element("a", { class: "place directory", href: links.directory(name), title: listing?.Directory ?? name },
            element("bdi", null, line(name, 200)),
            listing && !listing.Open ? element("span", { class: "muted" }, " closed") : null),
        error ? element("p", { class: "muted" }, error.message) : null,
        element("ul", null, (listing?.Tables ?? []).map((table) => element("li", null,
            element("a", { class: "place", href: links.table({ table: table.TableName }) },
                element("bdi", null, line(tableOf(table.TableName), 200)))))));
}

/** Marks the link of the view that is shown. */
export function markCurrent() {
    const [view, query] = location.hash.split("?");
    const parts = new URLSearchParams(query ?? "");
    const table = parts.get("table") ?? (view === "#/table" ? parts.get("name") : null);
    const wanted = table !== null ? links.table({ table })
        : view === "#/directory" ? links.directory(parts.get("name") ?? "") : links.overview;
    for (const link of navigation.querySelectorAll("a"))
        link.toggleAttribute("aria-current", link.getAttribute("href") === wanted);
    for (const link of navigation.querySelectorAll("a[aria-current]"))
        link.setAttribute("aria-current", "page");
}

function openTables() {
    return JSON.stringify((latest()?.Environments ?? []).map((one) =>
        [one.Directory, [...one.OpenTables ?? []].sort()]).sort());
}

onReport(() => {
    if (allowed && latest() && openTables() !== known)
        showNavigation(allowed);
});
