// Attribute values: how a table shows them, and what may be stored.

import { bytes, line } from "./format.js";
import { compact, parse } from "./jsontext.js";

const LargestItem = 512 * 1024; // bytes of JSON; the server stores more, but does not read it back
const Numeral = /^[+-]?(\d+\.?\d*|\.\d+)([eE][+-]?\d+)?$/;
const Base64 = /^(?:[A-Za-z0-9+/]{4})*(?:[A-Za-z0-9+/]{2}==|[A-Za-z0-9+/]{3}=)?$/;

const Types = {
    S: { what: "a string", fits: () => true },
    N: { what: "a number in quotes, as \"17\"", fits: (text) => Numeral.test(text) },
    B: { what: "base64 in quotes", fits: (text) => Base64.test(text) },
};

/** One value in a line of a table. */
export function preview(value) {
    const [type, content] = Object.entries(value ?? {})[0] ?? [];
    if (typeof content === "string")
        return type === "B" ? `${bytes(Math.floor(content.length * 3 / 4))} of binary` : line(content);
    if (Array.isArray(content) && type !== "BS")
        return line(`{ ${content.join(", ")} }`);
    return Array.isArray(content) ? `${content.length} binary values` : line(JSON.stringify(value));
}

export function isNumber(value) {
    return typeof value?.N === "string";
}

/** The attributes that get a column, the most frequent first, and whether all their values are numbers. */
export function columnsOf(items, keys, most) {
    const found = new Map();
    for (const item of items) {
        for (const [name, value] of Object.entries(item)) {
            const seen = found.get(name) ?? { name, count: 0, number: true };
            seen.count += 1;
            seen.number &&= isNumber(value);
            found.set(name, seen);
        }
    }
    for (const key of keys)
        found.delete(key);
    return [...found.values()].sort((one, other) => other.count - one.count).slice(0, most);
}

/**
 * Checks the text of an item without its keys, and returns it without white space, as it is stored. Throws an Error
 * that says what to change. Attributes that are among those of `before`, the text as it was read, pass as they are.
 */
export function checkedItem(text, keys, before) {
    const node = parse(text);
    if (node.kind !== "object")
        throw new Error('An item is an object: { "attribute": { "S": "text" } }');
    const kept = new Set(before === null ? [] : memberTexts(before, parse(before)));
    const names = new Set();
    for (const member of node.members) {
        const name = member.name;
        if (names.has(name))
            throw new Error(`"${name}" is there twice.`);
        if (keys.includes(name))
            throw new Error(`"${name}" is a key of the table, so it cannot be an attribute here.`);
        names.add(name);
        if (!kept.has(memberText(text, member)))
            checkValue(text, name, member.value);
    }
    const stored = compact(text, node);
    const size = new TextEncoder().encode(stored).length;
    if (size > LargestItem)
        throw new Error(`The item has ${bytes(size)}; more than ${bytes(LargestItem)} could not be read back.`);
    return stored;
}

function memberText(text, member) {
    return compact(text, { kind: "object", members: [member] });
}

function memberTexts(text, node) {
    return node.members.map((member) => memberText(text, member));
}

function checkValue(text, name, node) {
    const known = 'a value is an object with its type, as { "S": "text" }, { "N": "17" }, { "B": "base64" } or ' +
        '{ "SS": ["a", "b"] }';
    const type = node.kind === "object" && node.members.length === 1 ? node.members[0].name : "";
    const content = node.members?.[0]?.value;
    const kind = Types[type[0]];
    const isSet = type.length === 2 && type[1] === "S";
    if (!kind || (type.length > 1 && !isSet))
        throw new Error(`"${name}": ${known}.`);
    if (isSet && content.kind !== "array")
        throw new Error(`"${name}": ${type} is a list in brackets, as { "${type}": ["…"] }.`);
    for (const one of isSet ? content.items : [content]) {
        if (one.kind !== "string" || !kind.fits(one.value))
            throw new Error(`"${name}": ${type} takes ${kind.what}, not ${line(text.slice(one.start, one.end), 40)}.`);
    }
}
