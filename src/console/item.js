// One item: its attributes as JSON, shown, changed, stored, deleted. Or a new one.

import { Failure, keyNames } from "./api.js";
import { ask, element, field, notice, replace } from "./dom.js";
import { bytes, line, tableOf } from "./format.js";
import { parse, pretty } from "./jsontext.js";
import { keyIn, links } from "./links.js";
import { commitItem, Conflict, readItem } from "./store.js";
import { checkedItem } from "./values.js";

const Longest = 5000; // characters of a key

/** Unsaved changes, by the address of their item: {text, before}, so that leaving the item loses nothing. */
const drafts = new Map();

export function hasDrafts() {
    return drafts.size > 0;
}

export async function itemView(content, { view, query, allowed, go }) {
    const table = query.get("table") ?? "";
    const isNew = view === "new";
    const keys = await keyNames(table);
    const address = location.hash;
    const draft = drafts.get(address);
    const key = isNew ? draft?.key ?? { hash: query.get("hash") ?? "", range: "" } : keyIn(query.get("key"));
    if (key === null) {
        content.append(notice("error", "This address names no item."));
        return;
    }
    const stored = isNew ? null : await readItem(table, key);
    const outcome = element("div");
    const before = draft ? draft.before : stored; // what the change is based on
    content.append(
        element("h1", null, isNew ? "New item" : [element("bdi", null, line(key.hash, Longest)), " · ",
            element("bdi", null, line(key.range, Longest))]),
        element("p", { class: "muted" }, element("a", { href: links.table({ table }) }, line(tableOf(table), 200)),
            ` · hash key ${line(keys.hash)}, range key ${line(keys.range)}`));
    if (!isNew && stored === null && !draft) {
        content.append(notice("note", "There is no such item."));
        return;
    }
    const form = makeForm({ table, key, keys, isNew, before, draft, outcome, mayWrite: allowed.Write, address, go });
    content.append(form, outcome);
    if (draft)
        replace(outcome, notice("note", before === stored ? "These are your changes. They are not stored yet."
            : "These are your changes. They are not stored yet, and the item has changed since you began."));
}

function makeForm(context) {
    const { table, key, keys, isNew, draft, outcome, mayWrite, address, go } = context;
    let { before } = context;
    const shown = before === null ? "{\n    \n}" : pretty(before, parse(before));
    const text = element("textarea", { spellcheck: "false", autocomplete: "off", readonly: !mayWrite,
        rows: Math.min(30, Math.max(6, shown.split("\n").length)) });
    text.value = draft?.text ?? shown;
    const keyInput = (name) => element("input", { value: key[name], spellcheck: "false", autocomplete: "off",
        oninput: remember });
    const [hash, range] = [keyInput("hash"), keyInput("range")];
    const wanted = () => (isNew ? { hash: hash.value, range: range.value } : key);

    function remember() {
        drafts.set(address, { text: text.value, before, key: wanted() });
        revert.disabled = false;
    }
    text.addEventListener("input", remember);

    async function store() {
        let item;
        try {
            item = checkedItem(text.value, [keys.hash, keys.range], before);
            if (isNew && wanted().hash === "")
                throw new Error(`The hash key, ${line(keys.hash)}, is empty.`);
        } catch (error) {
            tell("error", error.message);
            if (error.position !== undefined) {
                text.focus();
                text.setSelectionRange(error.position, error.position);
            }
            return;
        }
        await attempt(() => commitItem(table, wanted(), before, item),
            () => go(links.item(table, wanted().hash, wanted().range), "Stored."), store, "Store mine in its place");
    }

    async function remove() {
        const question = element("p", null, element("bdi", null, `${line(key.hash, 80)} · ${line(key.range, 80)}`),
            ` of the table ${line(tableOf(table), 80)} will be gone for good.`);
        if (await ask("Delete this item?", question, "Delete"))
            await attempt(() => commitItem(table, key, before, null), () => go(links.table({ table }), "Deleted."),
                remove, "Delete it as it is now …");
    }

    async function attempt(action, succeed, again, consent) {
        try {
            await action();
        } catch (error) {
            if (error instanceof Conflict)
                tellConflict(error, again, consent);
            else if (error instanceof Failure)
                tell("error", error.status > 503 || error.status === 502 || error.status === 0
                    ? `${error.message} Read the item again to see whether it was stored.` : error.message);
            else
                throw error;
            return;
        }
        drafts.delete(address);
        succeed();
    }

    /** Shows what is stored instead, and offers to apply the same action to that, or to leave it. */
    function tellConflict({ message, present }, again, consent) {
        if (isNew) {
            tell("error", "There is an item with these keys already.");
            return;
        }
        const insist = () => {
            before = present;
            remember();
            again();
        };
        tell("error", message);
        outcome.append(element("h2", null, present === null ? "It has been deleted." : "As it is stored now"),
            present === null ? "" : element("pre", { tabindex: 0 }, pretty(present, parse(present))),
            element("div", { class: "buttons" },
                element("button", { type: "button", onclick: insist }, consent),
                element("button", { type: "button", onclick: discard }, "Discard the changes")));
    }

    function discard() {
        drafts.delete(address);
        go(address, "");
    }

    function tell(kind, ...what) {
        replace(outcome, notice(kind, ...what));
    }

    const revert = element("button", { type: "button", disabled: !draft, onclick: discard }, "Discard the changes");
    return element("form", { class: "item", onsubmit: (event) => {
        event.preventDefault();
        store();
    }, onkeydown: (event) => {
        if ((event.ctrlKey || event.metaKey) && event.key === "s") {
            event.preventDefault();
            if (mayWrite)
                store();
        }
    } },
    isNew ? element("div", { class: "row" }, field(line(keys.hash), hash), field(line(keys.range), range)) : null,
    field("Attributes", text, before === null ? 'As { "total": { "N": "17" }, "note": { "S": "text" } }'
        : `${bytes(new TextEncoder().encode(before).length)} as stored`),
    mayWrite ? element("div", { class: "buttons" },
        element("button", { class: "primary", title: "Ctrl+S" }, isNew ? "Create" : "Store"), revert,
        element("span", { class: "space" }),
        isNew ? null : element("button", { type: "button", class: "danger", onclick: remove }, "Delete …"))
        : element("p", { class: "muted" }, "Read-only: quorva-http was started without --console-write."));
}
