// JSON as text. The page stores exactly what its user typed: JavaScript's own parser would silently round long numbers
// and drop repeated names.

/** Where a text is not JSON; `position` counts characters. */
export class JsonError extends Error {
    constructor(message, text, position) {
        const before = text.slice(0, position).split("\n");
        super(`Line ${before.length}, column ${before.at(-1).length + 1}: ${message}`);
        this.position = position;
    }
}

const Word = /true|false|null/y;
const Numeral = /-?(?:0|[1-9]\d*)(?:\.\d+)?(?:[eE][+-]?\d+)?/y;
// eslint-disable-next-line no-control-regex
const Quoted = /"(?:[^"\\\u0000-\u001f]|\\(?:["\\/bfnrt]|u[0-9a-fA-F]{4}))*"/y;
const Space = /[ \t\r\n]*/y;
const Deepest = 500;

class Reader {
    constructor(text) {
        this.text = text;
        this.at = 0;
        this.depth = 0;
    }

    fail(message, position = this.at) {
        throw new JsonError(message, this.text, position);
    }

    take(pattern) {
        pattern.lastIndex = this.at;
        const found = pattern.exec(this.text);
        if (found)
            this.at = pattern.lastIndex;
        return found?.[0];
    }

    skip() {
        this.take(Space);
    }

    has(character) {
        this.skip();
        const found = this.text[this.at] === character;
        if (found)
            ++this.at;
        return found;
    }

    string() {
        const start = this.at;
        const raw = this.take(Quoted);
        if (raw === undefined)
            this.fail(this.text[start] === '"' ? "this string does not end, or has a character that must be escaped"
                : "a string in double quotes is expected");
        const value = JSON.parse(raw);
        if (!value.isWellFormed())
            this.fail("half of a surrogate pair is no character", start);
        return { kind: "string", start, end: this.at, value };
    }

    value() {
        this.skip();
        const start = this.at;
        if (++this.depth > Deepest)
            this.fail("this is nested too deeply");
        let node;
        if (this.text[start] === '"')
            node = this.string();
        else if (this.has("{"))
            node = { kind: "object", start, members: this.list("}", () => this.member()) };
        else if (this.has("["))
            node = { kind: "array", start, items: this.list("]", () => this.value()) };
        else if (this.take(Numeral) !== undefined)
            node = { kind: "number", start };
        else if (this.take(Word) !== undefined)
            node = { kind: "word", start };
        else
            this.fail(start < this.text.length ? "a value is expected" : "the text ends too early");
        node.end = this.at;
        --this.depth;
        return node;
    }

    list(close, next) {
        const found = [];
        if (this.has(close))
            return found;
        do
            found.push(next());
        while (this.has(","));
        if (!this.has(close))
            this.fail(this.at < this.text.length ? `"," or "${close}" is expected` : "the text ends too early");
        return found;
    }

    member() {
        this.skip();
        const name = this.string();
        if (!this.has(":"))
            this.fail('":" is expected');
        return { name: name.value, start: name.start, nameEnd: name.end, value: this.value() };
    }
}

/** The nodes of a text: {kind, start, end} and members, items or value. Throws a JsonError. */
export function parse(text) {
    const reader = new Reader(text);
    const node = reader.value();
    reader.skip();
    if (reader.at < text.length)
        reader.fail("nothing more is expected here");
    return node;
}

/** The text of a node without white space. Scalars stay as they are written. */
export function compact(text, node) {
    if (node.kind === "object")
        return `{${node.members.map((member) =>
            `${text.slice(member.start, member.nameEnd)}:${compact(text, member.value)}`).join(",")}}`;
    if (node.kind === "array")
        return `[${node.items.map((item) => compact(text, item)).join(",")}]`;
    return text.slice(node.start, node.end);
}

const Width = 100;

/** The text of a node in readable form: short objects and lists on one line, longer ones with a line for each entry. */
export function pretty(text, node, indent = "", isOpen = true) {
    const isObject = node.kind === "object";
    const entries = isObject ? node.members : node.items;
    if (entries === undefined || entries.length === 0)
        return compact(text, node);
    const inner = `${indent}    `;
    if (!isOpen && node.end - node.start <= Width) {
        const flat = entries.map((entry) => entryText(text, entry, inner)).join(", ");
        if (!flat.includes("\n") && indent.length + flat.length <= Width)
            return isObject ? `{ ${flat} }` : `[${flat}]`;
    }
    const lines = entries.map((entry) => `\n${inner}${entryText(text, entry, inner)}`).join(",");
    return `${isObject ? "{" : "["}${lines}\n${indent}${isObject ? "}" : "]"}`;
}

function entryText(text, entry, indent) {
    return entry.nameEnd === undefined ? pretty(text, entry, indent, false)
        : `${text.slice(entry.start, entry.nameEnd)}: ${pretty(text, entry.value, indent, false)}`;
}

/** The text of a member of the outermost object; undefined if there is none. */
export function memberText(text, name) {
    const found = parse(text).members?.findLast((member) => member.name === name);
    return found && text.slice(found.value.start, found.value.end);
}
