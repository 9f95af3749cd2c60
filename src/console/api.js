// Requests to quorva-http. Each carries the token that it printed at start-up. The page receives it in the fragment of
// its address, which browsers do not send, and keeps it for this tab, where no other port can read it.

const Prefixes = { Status: "Quorva_1.", ListTables: "Quorva_1.", DescribeBackup: "Quorva_1.", Commit: "Quorva_1." };
const ApiPrefix = "DynamoDB_20111205.";
const TokenName = "quorva-console-token";

/** A failed request; `type` is the last part of its error type, "ConditionalCheckFailedException", `reply` its text. */
export class Failure extends Error {
    constructor(message, status, type, reply) {
        super(message);
        this.status = status;
        this.type = type;
        this.reply = reply;
    }

    /** Whether the token is missing or not that of the running quorva-http. */
    get needsToken() {
        return this.type === "InvalidTokenException";
    }

    /** Whether the request was not executed, or its outcome is unknown, for lack of a server. */
    get isOutage() {
        return this.status === 0 || this.status >= 502;
    }
}

/** Takes the token from the address, if there is one, and removes it there. */
export function takeToken() {
    const found = /^#token=([0-9a-zA-Z_-]+)$/.exec(location.hash);
    if (!found)
        return;
    useToken(found[1]);
    history.replaceState(null, "", `${location.pathname}#/`);
}

export function useToken(token) {
    sessionStorage.setItem(TokenName, token);
}

export function hasToken() {
    return sessionStorage.getItem(TokenName) !== null;
}

async function fetchText(path, options) {
    let response;
    let text;
    try {
        response = await fetch(path, { ...options, cache: "no-store", credentials: "omit", redirect: "error",
            headers: { ...options.headers, Authorization: `Bearer ${sessionStorage.getItem(TokenName) ?? ""}` } });
        text = await response.text();
    } catch {
        throw new Failure("quorva-http cannot be reached.", 0, "", "");
    }
    if (response.ok)
        return text;
    let error = {};
    try {
        error = JSON.parse(text);
    } catch { /* what is no JSON has no message */ }
    throw new Failure(error.message ?? `The request failed with status ${response.status}.`, response.status,
        (error.__type ?? "").split("#").pop(), text);
}

/** What this quorva-http allows: {Server, Directories, Write}. */
export async function settings() {
    return JSON.parse(await fetchText("/console/settings", { method: "GET" }));
}

/** The text of the reply to an operation. The body is a text; anything else is serialised as JSON. */
export function exchange(operation, body) {
    return fetchText("/console/api", {
        method: "POST",
        headers: { "Content-Type": "application/json", "X-Amz-Target": (Prefixes[operation] ?? ApiPrefix) + operation },
        body: typeof body === "string" ? body : JSON.stringify(body),
    });
}

export async function call(operation, body) {
    return JSON.parse(await exchange(operation, body));
}

const schemas = new Map();

/** The names of a table's key attributes: {hash, range}. */
export async function keyNames(table) {
    if (!schemas.has(table)) {
        schemas.set(table, namesIn(await describe(table)));
    }
    return schemas.get(table);
}

async function describe(table) {
    try {
        return (await call("DescribeTable", { TableName: table })).Table.KeySchema;
    } catch (error) {
        if (error.type === "ResourceNotFoundException")
            error.message = "There is no such table: its directory does not exist, or it was never created.";
        throw error;
    }
}

export function namesIn(schema) {
    return { hash: schema?.HashKeyElement?.AttributeName, range: schema?.RangeKeyElement?.AttributeName };
}

/** The "Key" of an item. */
export function keyOf(hash, range) {
    return { HashKeyElement: { S: hash }, RangeKeyElement: { S: range } };
}
