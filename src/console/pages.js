// Reading a table page by page. The peculiarities of the server's walks are hidden here.

import { call, keyOf } from "./api.js";

/** The range conditions: {value: the operator's name, text, operands}. LE and LT walk downward. */
export const Conditions = [
    { value: "", text: "any", operands: 0 },
    { value: "EQ", text: "=", operands: 1 },
    { value: "LT", text: "<", operands: 1, isDown: true },
    { value: "LE", text: "≤", operands: 1, isDown: true },
    { value: "GT", text: ">", operands: 1 },
    { value: "GE", text: "≥", operands: 1 },
    { value: "BETWEEN", text: "between", operands: 2 },
    { value: "BEGINS_WITH", text: "begins with", operands: 1 },
];

export function conditionOf(value) {
    return Conditions.find((condition) => condition.value === value) ?? Conditions[0];
}

/**
 * One page: {items, next}. `search` is {table, hash, condition, operands, isDown}; without a hash key it is the whole
 * table. `start` is the key after which the page begins, null for the first one; `next` is that of the next page.
 */
export async function readPage(search, start, size) {
    const isScan = search.hash === "";
    const condition = conditionOf(isScan ? "" : search.condition);
    const body = { TableName: search.table, Limit: size };
    if (!isScan) {
        body.HashKeyValue = { S: search.hash };
        if (condition.value !== "")
            body.RangeKeyCondition = { ComparisonOperator: condition.value,
                AttributeValueList: search.operands.slice(0, condition.operands).map((text) => ({ S: text })) };
        if (search.isDown)
            body.ScanIndexForward = false;
    }
    const isDown = condition.isDown ?? (condition.value === "" && search.isDown);
    for (let after = start; ;) {
        if (after)
            body.ExclusiveStartKey = keyOf(after.hash, after.range);
        const reply = await call(isScan ? "Scan" : "Query", body);
        const last = lastKey(reply);
        const next = condition.value === "EQ" ? null : last;
        const items = reply.Items ?? [];
        if (next && !canContinue(next, isScan)) {
            if (isDown && next.range === "")
                return { items, next: null }; // nothing is below the empty range key
            body.Limit += size;
        } else if (items.length === 0 && next) {
            after = next; // an empty page is not the last one
        } else {
            return { items, next, isDown };
        }
    }
}

function lastKey(reply) {
    const key = reply.LastEvaluatedKey;
    return key ? { hash: key.HashKeyElement.S, range: key.RangeKeyElement.S } : null;
}

/** True if the server can continue after a key. */
function canContinue(key, isScan) {
    const hasZero = `${key.hash}${key.range}`.includes("\0");
    return !hasZero && (isScan ? key.hash !== "" && key.hash.length < 10000 : key.range !== "");
}

/**
 * Without the items that a downward page repeats: if its start key was deleted meanwhile, it begins with the next
 * greater key.
 */
export function withoutRepeated(page, start, rangeName) {
    if (!page.isDown || !start)
        return page.items;
    return page.items.filter((item) => (item[rangeName]?.S ?? "") < start.range);
}
