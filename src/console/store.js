// Reading and storing one item as text. A write replaces only the state that was read.

import { exchange, Failure, keyOf } from "./api.js";
import { memberText, parse } from "./jsontext.js";

/** The text of an item without its keys, exactly as it is stored; null if there is none. */
export async function readItem(table, key) {
    return memberText(await exchange("GetItem", { TableName: table, Key: keyOf(key.hash, key.range) }), "Item") ?? null;
}

/** The stored item differs from the expected one: it is `present`, null if there is none. */
export class Conflict extends Error {
    constructor(present) {
        super("The item has changed since it was read. Nothing was stored.");
        this.present = present;
    }
}

/**
 * Stores the text of an item, or deletes it if `item` is null, provided that the stored item is still `before`. Throws
 * a Conflict if it is not.
 */
export async function commitItem(table, key, before, item) {
    const name = JSON.stringify({ TableName: table, Key: keyOf(key.hash, key.range) }).slice(1, -1);
    const expected = before === null ? '{"Exists":false}' : `{"Item":${before}}`;
    const change = item === null ? '"Delete":true' : `"Put":${item}`;
    try {
        await exchange("Commit", `{"Entries":[{${name},"Expected":${expected},${change}}]}`);
    } catch (error) {
        if (error instanceof Failure && error.type === "ConditionalCheckFailedException")
            throw new Conflict(presentItem(error.reply));
        throw error;
    }
}

function presentItem(reply) {
    const mismatches = parse(reply).members.find((member) => member.name === "Mismatches");
    const present = mismatches?.value.items?.[0]?.members?.find((member) => member.name === "Item");
    return present ? reply.slice(present.value.start, present.value.end) : null;
}
