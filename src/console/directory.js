// One directory: its tables, its environment's figures, its backup.

import { call, namesIn } from "./api.js";
import { showBackup } from "./backup.js";
import { element, replace, table } from "./dom.js";
import { bytes, count, line, percent, tableOf, time } from "./format.js";
import { links } from "./links.js";
import { latest, onReport } from "./live.js";

export async function directoryView(content, { query, allowed }) {
    const name = query.get("name") ?? "";
    const listing = await call("ListTables", { Directory: name });
    const environment = element("div");
    const backup = element("section", { "aria-labelledby": "backup" });
    content.append(
        element("h1", null, element("bdi", null, line(name, 300))),
        element("p", { class: "muted" }, listing.Directory === name ? null : `${line(listing.Directory, 300)} · `,
            listing.Open ? "open" : "closed; it opens with the first request"),
        tables(listing.Tables), environment, backup);
    const end = showBackup(backup, name, allowed.Write);
    const update = () => {
        const found = latest()?.Environments.find((one) => one.Directory === listing.Directory);
        replace(environment, found ? figures(found) : null);
    };
    update();
    const leave = onReport(update);
    return () => {
        leave();
        end();
    };
}

function tables(list) {
    if (list.length === 0)
        return element("p", null, "There are no tables in this directory.");
    const rows = list.map((one) => {
        const keys = namesIn(one.KeySchema);
        return [element("a", { href: links.table({ table: one.TableName }) },
            element("bdi", null, line(tableOf(one.TableName), 200))),
        line(keys.hash ?? "–"), line(keys.range ?? "–"), count(one.Files), bytes(one.Bytes)];
    });
    return table("Tables", [{ title: "Table" }, { title: "Hash key" }, { title: "Range key" },
        { title: "Files", number: true }, { title: "Size", number: true }], rows);
}

function figures({ Cache: cache = {}, Locks: locks = {}, Log: log = {}, ...environment }) {
    const figure = (name, value, more) => element("div", null, element("dt", null, name),
        element("dd", null, value, more ? element("small", null, more) : null));
    return [element("h2", null, "Environment"), element("dl", { class: "tiles" },
        figure("Tables", count(environment.Tables), `${count(environment.Files)} files open`),
        figure("Cache", bytes(cache.Bytes), `${count(cache.Pages)} pages, ${count(cache.DirtyPages)} to be written`),
        figure("Found in the cache", percent(cache.Hits / (cache.Hits + cache.Misses)),
            `${count(cache.Misses)} misses`),
        figure("Log on disk", bytes(log.BytesOnDisk), `${count(log.Files)} files, at ${log.File}/${log.Offset}`),
        figure("Commits", count(environment.Commits), `${count(environment.Aborts)} aborted`),
        figure("Flushes", count(environment.Flushes)),
        figure("Lock waits", count(locks.Waits), `${count(locks.Deadlocks)} deadlocks`),
        figure("Last checkpoint", time(environment.LastCheckpoint).slice(11) || "–",
            time(environment.LastCheckpoint).slice(0, 10)))];
}
