// The backup of a directory: started, watched, stopped.

import { call, Failure } from "./api.js";
import { ask, element, field, notice, replace, say } from "./dom.js";
import { line, time } from "./format.js";

const Interval = 1000; // milliseconds
const Words = {
    none: "No backup is running.",
    copying: "A full copy is being made.",
    shipping: "The copy is complete. Log files are shipped to it as they fill up.",
    stopping: "The backup is stopping.",
};

/** Shows the state until the returned function is called. */
export function showBackup(section, directory, mayWrite) {
    const TableName = `${directory}|`; // the operations look at the directory alone
    const status = element("div", { role: "status" });
    const outcome = element("div");
    const target = element("input", { required: true, spellcheck: "false", autocomplete: "off" });
    const start = element("button", { class: "primary" }, "Start a backup");
    const stop = element("button", { type: "button", onclick: () => end() }, "Stop the backup …");
    const form = element("form", { class: "row", onsubmit: (event) => {
        event.preventDefault();
        begin();
    } }, field("Target directory", target, "A path on the server's machine. It must be empty or not exist yet."),
    start);
    section.append(element("h2", { id: "backup" }, "Backup"), status, outcome, ...(mayWrite ? [form, stop]
        : [element("p", { class: "muted" },
            "It can be started here if quorva-http was started with --console-write.")]));
    let state = "";
    let step = ""; // of a backup that was started here: its copy, "copying", then "shipping", then "" again
    let wasAsked = false; // to stop
    let isOver = false;
    let timer = 0;
    let round = 0; // results of requests from before a later update or action are not shown

    async function look() {
        const mine = ++round;
        clearTimeout(timer);
        try {
            const { Backup: backup } = await call("DescribeBackup", { TableName });
            if (!isOver && mine === round)
                show(backup);
        } catch (error) {
            if (!(error instanceof Failure))
                throw error;
            if (!isOver)
                replace(status, element("p", { class: "muted" }, `Its state is not known: ${error.message}`));
        }
        if (!isOver && mine === round)
            timer = setTimeout(look, Interval);
    }

    function show(backup) {
        const before = state;
        state = backup.State;
        replace(status,
            element("p", null, element("span", { class: `dot ${state}` }), Words[state] ?? state),
            backup.Target || backup.Since ? element("dl", { class: "facts" },
                backup.Target ? [element("dt", null, "Target"), element("dd", null, line(backup.Target, 300))] : null,
                backup.Since ? [element("dt", null, "Since"), element("dd", null, time(backup.Since))] : null,
                backup.Until ? [element("dt", null, "Until"), element("dd", null, time(backup.Until))] : null) : null);
        form.hidden = state !== "none";
        stop.hidden = state === "none" || state === "stopping";
        if (step === "shipping" && before === "shipping" && state === "shipping") {
            step = ""; // the server has accepted the copy
            replace(outcome, notice("done", "The copy is complete."));
        } else if (step === "shipping" && state === "none" && !wasAsked) {
            step = "";
            replace(outcome, notice("error", "The backup has failed. The server's log says why."));
        } else if (step === "copying" && state === "none" && !wasAsked) {
            ship();
        } else if (state === "none" && before !== "none" && before !== "") {
            replace(outcome, notice(wasAsked ? "done" : "note", "The backup has ended."));
        }
    }

    /**
     * After a copy, the server starts shipping logs only if it finds and removes the marker that quorvactl creates in
     * the target, which the page cannot do. So the page requests the shipping, which the server starts only for a
     * complete copy: the result also says whether the copy is complete.
     */
    async function ship() {
        step = "shipping";
        await act("UpdateDbBackup", target.value);
    }

    async function act(action, value, begun = step) {
        ++round;
        clearTimeout(timer);
        try {
            await call("UpdateTable", { TableName, ProvisionedThroughput: { [action]: value } });
            step = begun;
            await look();
        } catch (error) {
            if (!(error instanceof Failure))
                throw error;
            step = "";
            look();
            replace(outcome, notice("error", error.type === "ConditionalCheckFailedException"
                ? "The server has refused it: another backup of this directory is running, or its log says why."
                : error.message));
        }
    }

    async function begin() {
        replace(outcome);
        wasAsked = false;
        await act("DbBackup", target.value, "copying");
        say("The backup has been started.");
    }

    async function end() {
        if (!await ask("Stop the backup?", element("p", null,
            "A copy that is not complete cannot be restored. One that is complete stays as it is."), "Stop the backup"))
            return;
        wasAsked = true;
        await act("StopDbBackup", true);
    }

    look();
    return () => {
        isOver = true;
        clearTimeout(timer);
    };
}
