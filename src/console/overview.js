// The server, live: figures, plots, requests by operation, the slowest ones.

import { element, replace, table } from "./dom.js";
import { bytes, count, duration, figure, line, milliseconds, percent, time } from "./format.js";
import { latest, onReport, quantile, samples } from "./live.js";
import { Plot } from "./plot.js";

const Everywhere = "";

export function overview(content) {
    const plots = {
        requests: new Plot("Requests per second", figure),
        latency: new Plot("Latency", milliseconds),
        cache: new Plot("Found in the cache", percent),
        log: new Plot("Log written per second", bytes, 1024, 1024),
        flushes: new Plot("Commits and flushes per second", figure),
        threads: new Plot("Requests in the server", figure),
    };
    const tiles = element("dl", { class: "tiles" });
    const requests = element("div");
    const slow = element("div");
    const choice = element("select", { id: "environment", onchange: () => update() });
    content.append(element("h1", null, "Live"), tiles,
        element("div", { class: "bar" }, element("label", { for: "environment" }, "Cache, log and flushes of"), choice),
        element("div", { class: "plots" }, Object.values(plots).map((plot) => plot.figure)),
        requests, slow);

    function update() {
        const status = latest();
        if (!status)
            return;
        showTiles(tiles, status);
        showChoice(choice, status);
        showPlots(plots, choice.value);
        showUnlessInUse(requests, () => requestTable(status));
        showUnlessInUse(slow, () => slowTable(status));
    }
    update();
    const leave = onReport(update);
    return () => {
        leave();
        for (const plot of Object.values(plots))
            plot.end();
    };
}

/** Does not update a table while the user selects text in it or scrolls it with the keyboard. */
function showUnlessInUse(place, make) {
    const selection = getSelection();
    const isSelected = !selection.isCollapsed && place.contains(selection.anchorNode);
    if (!isSelected && !place.contains(document.activeElement))
        replace(place, make());
}

function showTiles(tiles, status) {
    const rates = samples.at(-1)?.rates;
    const { Server: server, Process: process = {}, Connections: connections = {} } = status;
    const tile = (name, value, more) => element("div", null, element("dt", null, name),
        element("dd", null, value, more ? element("small", null, more) : null));
    replace(tiles,
        tile("Connections", count(connections.Open),
            `${count(connections.Accepted)} in all, ${count(connections.Refused)} refused`),
        tile("Received", `${bytes(rates?.received)}/s`, `${bytes(status.Bytes?.Received)} in all`),
        tile("Sent", `${bytes(rates?.sent)}/s`, `${bytes(status.Bytes?.Sent)} in all`),
        tile("Processor", percent(rates?.processor), `${duration(process.ProcessorSeconds)} in all`),
        tile("Memory", bytes(process.ResidentBytes), `process ${server.ProcessId}`),
        tile("Descriptors", count(process.Descriptors), `of ${count(process.DescriptorLimit)}`));
}

function showChoice(choice, status) {
    const names = status.Environments.map((environment) => environment.Directory);
    const shown = [...choice.options].slice(1).map((option) => option.value);
    if (choice.options.length > 0 && JSON.stringify(names) === JSON.stringify(shown))
        return;
    const chosen = choice.value;
    replace(choice, element("option", { value: Everywhere }, "all directories"),
        names.map((name) => element("option", { value: name }, line(name, 100))));
    choice.value = names.includes(chosen) ? chosen : Everywhere;
}

function showPlots(plots, directory) {
    const times = samples.map((sample) => sample.time);
    const line = (name, read) => ({
        name, values: samples.map(({ rates, status }) => (rates ? read(rates, status) : NaN)) });
    const sum = (name, member) => line(name, (rates) => environments(rates, directory)
        .reduce((total, one) => total + one[member], 0));
    plots.requests.show(times, busiest().map((name) => line(name, (rates) => rates.operations.get(name) ?? 0)));
    plots.latency.show(times, [["median", 0.5], ["99 %", 0.99]].map(([name, share]) =>
        line(name, (rates, status) => quantile(rates.latencies, status.LatencyBounds, share))));
    plots.cache.show(times, [line("pages", (rates) => {
        const [hits, misses] = ["hits", "misses"].map((member) =>
            environments(rates, directory).reduce((total, one) => total + one[member], 0));
        return hits / (hits + misses);
    })]);
    plots.log.show(times, [sum("log", "log")]);
    plots.flushes.show(times, [sum("commits", "commits"), sum("flushes", "flushes")]);
    plots.threads.show(times, [
        line("running", (_, { Threads: threads }) => threads.PoolBusy),
        line("queued", (_, { Threads: threads }) => threads.PoolQueue),
        line("waiting for a flush", (_, { Threads: threads }) => threads.RepliesWaiting)]);
}

function environments(rates, directory) {
    return [...rates.environments].filter(([name, one]) => one && (directory === Everywhere || name === directory))
        .map(([, one]) => one);
}

/** The operations with the most requests, in a stable order. */
function busiest() {
    const totals = new Map();
    for (const { Operation: name, Count: number } of latest().Requests) {
        if (name !== "Status")
            totals.set(name, (totals.get(name) ?? 0) + number);
    }
    return [...totals].sort((one, other) => other[1] - one[1]).slice(0, 6).map(([name]) => name).sort();
}

function requestTable(status) {
    const rows = status.Requests.map((request) => [
        request.Operation, request.Outcome === "Success" ? "success" : request.Outcome, count(request.Count),
        milliseconds(request.Microseconds / request.Count / 1000),
        ...[0.5, 0.99].map((share) => milliseconds(quantile(request.Latencies, status.LatencyBounds, share)))]);
    return [element("h2", null, "Requests since the start"),
        table("Requests since the start", [{ title: "Operation" }, { title: "Outcome" },
            ...["Count", "Mean", "Median", "99 %"].map((title) => ({ title, number: true }))], rows)];
}

function slowTable(status) {
    const threshold = status.Server.Options?.SlowMilliseconds ?? 0;
    const requests = status.SlowRequests ?? [];
    const title = element("h2", null, "Slow requests");
    if (requests.length === 0)
        return [title, element("p", { class: "muted" }, threshold > 0 ? `None took ${threshold} ms.`
            : "They are recorded when the server is started with QUORVA_SLOW_MS.")];
    const rows = requests.map((one) => [time(one.Time), one.Operation, line(one.Table ?? ""), line(one.Keys ?? ""),
        ...[one.Milliseconds, one.LockMilliseconds, one.DiskMilliseconds, one.FlushMilliseconds].map(milliseconds),
        count(one.Items), count(one.Retries), one.Peer ?? ""]);
    return [title, table("Slow requests", [
        ...["Time", "Operation", "Table", "Keys"].map((heading) => ({ title: heading })),
        ...["Total", "Locks", "Disk", "Flush", "Items", "Retries"].map((heading) => ({ title: heading, number: true })),
        { title: "Client" }], rows)];
}
