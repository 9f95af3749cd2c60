// The server's status, requested every two seconds, and the rates computed from two reports.

import { call, Failure } from "./api.js";

const Interval = 2000; // milliseconds
const Kept = 151;      // five minutes
const Own = "Status";  // the console's own requests

export const samples = []; // {time, status, rates}; rates are null for the first one and after a restart of the server
export const state = { failure: null, since: 0, interval: Interval };
const listeners = new Set();
let timer = 0;
let round = 0; // a later call of watch() replaces an earlier one

/** Calls a function after each report, or failure to get one, until the returned function is called. */
export function onReport(listener) {
    listeners.add(listener);
    return () => listeners.delete(listener);
}

/** Requests a report, now and periodically. */
export async function watch() {
    const mine = ++round;
    clearTimeout(timer);
    let failure = null;
    try {
        take(await call("Status", {}));
    } catch (error) {
        if (!(error instanceof Failure))
            throw error;
        failure = error;
    }
    if (mine !== round)
        return;
    if (Boolean(failure) !== Boolean(state.failure))
        state.since = Date.now() / 1000;
    state.failure = failure;
    for (const listener of [...listeners])
        listener();
    if (!failure?.needsToken)
        timer = setTimeout(watch, Interval);
}

export function latest() {
    return samples.at(-1)?.status ?? null;
}

function take(status) {
    const time = performance.now() / 1000;
    const before = samples.at(-1);
    const isSame = before && before.status.Server.StartTime === status.Server.StartTime &&
        before.status.Server.ProcessId === status.Server.ProcessId;
    samples.push({ time, status, rates: isSame ? ratesOf(before, { time, status }) : null });
    samples.splice(0, Math.max(0, samples.length - Kept));
}

function ratesOf(before, after) {
    const seconds = Math.max(after.time - before.time, 0.001);
    const per = (read) => Math.max(0, read(after.status) - read(before.status)) / seconds;
    const latencies = latencyCounts(after.status);
    const earlier = latencyCounts(before.status);
    const counts = countsByOperation(before.status);
    const operations = new Map();
    for (const [name, count] of countsByOperation(after.status))
        operations.set(name, Math.max(0, count - (counts.get(name) ?? 0)) / seconds);
    return {
        operations,
        latencies: latencies.map((count, at) => Math.max(0, count - (earlier[at] ?? 0))),
        processor: per((status) => status.Process?.ProcessorSeconds),
        received: per((status) => status.Bytes?.Received),
        sent: per((status) => status.Bytes?.Sent),
        environments: new Map(after.status.Environments.map((environment) => {
            const old = before.status.Environments.find((one) => one.Directory === environment.Directory);
            return [environment.Directory, old ? environmentRates(old, environment, seconds) : null];
        })),
    };
}

function environmentRates(before, after, seconds) {
    const change = (read) => Math.max(0, (read(after) ?? 0) - (read(before) ?? 0));
    return {
        hits: change((one) => one.Cache?.Hits),
        misses: change((one) => one.Cache?.Misses),
        log: Math.max(0, logPosition(after) - logPosition(before, logFileSize(after))) / seconds,
        commits: change((one) => one.Commits) / seconds,
        flushes: change((one) => one.Flushes) / seconds,
    };
}

/** The size of a full log file, as far as the existing ones show it. */
function logFileSize({ Log: log }) {
    return log?.Files > 1 ? Math.max(0, log.BytesOnDisk - log.Offset) / (log.Files - 1) : 0;
}

function logPosition(environment, fileSize = logFileSize(environment)) {
    return (environment.Log?.File ?? 0) * fileSize + (environment.Log?.Offset ?? 0);
}

function countsByOperation(status) {
    const counts = new Map();
    for (const { Operation: name, Count: count } of status.Requests) {
        if (name !== Own)
            counts.set(name, (counts.get(name) ?? 0) + count);
    }
    return counts;
}

function latencyCounts(status) {
    const sums = new Array(status.LatencyBounds.length + 1).fill(0);
    for (const { Operation: name, Latencies: counts } of status.Requests) {
        if (name !== Own)
            counts.forEach((count, at) => { sums[at] += count; });
    }
    return sums;
}

/**
 * The latency in milliseconds that a fraction of the requests does not exceed, interpolated within its class. NaN
 * without requests.
 */
export function quantile(counts, bounds, share) {
    const total = counts.reduce((sum, count) => sum + count, 0);
    let rest = share * total;
    for (let at = 0; at < counts.length && total > 0; ++at) {
        if (rest <= counts[at] && counts[at] > 0) {
            const low = at > 0 ? bounds[at - 1] : 0;
            const high = bounds[at] ?? low;
            return (low + (high - low) * rest / counts[at]) / 1000;
        }
        rest -= counts[at];
    }
    return NaN;
}
