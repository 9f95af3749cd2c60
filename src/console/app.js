// The page: which view is shown, the header, the token.

import { Failure, hasToken, settings, takeToken, useToken } from "./api.js";
import { directoryView } from "./directory.js";
import { element, field, notice, replace, say } from "./dom.js";
import { duration, time } from "./format.js";
import { itemView, hasDrafts } from "./item.js";
import { latest, onReport, state, watch } from "./live.js";
import { markCurrent, showNavigation } from "./navigation.js";
import { overview } from "./overview.js";
import { tableView } from "./table.js";

const Views = { "": overview, directory: directoryView, table: tableView, item: itemView, new: itemView };

const main = document.getElementById("main");
let allowed = null; // the result of settings()
let shown = { end() {} };
let wasOut = false;
let parting = ""; // what the previous view has done, for the next one to show

/** Where the address leads: {view, query}. */
function place() {
    const [view, query] = location.hash.replace(/^#\/?/, "").split("?");
    return { view, query: new URLSearchParams(query ?? "") };
}

/** Shows the view of the address. A view is given an empty element, and returns a function to call when it is left. */
async function show({ keepFocus = false } = {}) {
    const { view, query } = place();
    const address = location.hash;
    const make = Views[view] ?? overview;
    shown.end();
    const content = element("div", { class: "view" });
    const mine = shown = { end() {}, failed: false };
    const loading = element("p", { class: "loading" }, "Reading …");
    replace(main, content, loading);
    markCurrent();
    try {
        const end = await make(content, { view, query, allowed, go });
        if (shown === mine)
            mine.end = end ?? mine.end;
        else
            end?.();
    } catch (error) {
        if (shown !== mine)
            return;
        if (!(error instanceof Failure)) {
            content.append(notice("error", `This page has failed: ${error.message}`));
            throw error;
        }
        mine.failed = error.isOutage;
        if (error.needsToken)
            showTokenForm();
        else
            content.append(notice("error", error.message, " ",
                element("button", { onclick: () => show() }, "Try again")));
    }
    loading.remove();
    content.dataset.address = address;
    if (parting !== "") {
        content.prepend(notice("done", parting));
        say(parting);
        parting = "";
    }
    document.title = [content.querySelector("h1")?.textContent, "Quorva"].filter(Boolean).join(" – ");
    if (!keepFocus)
        main.focus({ preventScroll: true });
    scrollTo(0, 0);
}

/** Navigates to an address, which may be that of the current view, with a message about what was done. */
function go(address, done) {
    parting = done;
    if (location.hash === address)
        show();
    else
        location.hash = address;
}

function showHeader() {
    const status = latest();
    const badge = document.getElementById("state");
    const isOut = state.failure !== null;
    const text = isOut ? `No answer since ${time(state.since).slice(11)}` : "Connected";
    if (badge.textContent !== text)
        replace(badge, text);
    badge.className = `state ${isOut ? "out" : "in"}`;
    badge.title = state.failure?.message ?? "";
    if (status && !isOut)
        replace(document.getElementById("server"), allowed.Server, element("span", { class: "more" },
            ` · version ${status.Server.Version} · up ${duration(status.Server.Uptime)}`));
    const mode = document.getElementById("mode");
    mode.textContent = allowed.Write ? "may write" : "read-only";
    mode.title = allowed.Write ? "Started with --console-write"
        : "Start quorva-http with --console-write to change items";
}

function onEveryReport() {
    if (state.failure?.needsToken) {
        showTokenForm();
        return;
    }
    showHeader();
    const isOut = state.failure !== null;
    if (wasOut && !isOut) {
        showNavigation(allowed);
        if (shown.failed)
            show({ keepFocus: true });
    }
    wasOut = isOut;
}

function showTokenForm() {
    shown.end();
    shown = { end() {} };
    const input = element("input", { type: "password", autocomplete: "off", spellcheck: "false", required: true });
    replace(document.getElementById("navigation"));
    replace(main, element("form", { class: "view token", onsubmit: (event) => {
        event.preventDefault();
        useToken(input.value.trim().replace(/^.*token=/, ""));
        start();
    } },
    element("h1", null, "This console needs a token"),
    element("p", null, "quorva-http prints an address with the token when it starts. Open that address, or paste it " +
        "or the token here."),
    hasToken() ? notice("error", "The token of this tab is not that of the running quorva-http.") : null,
    field("Token", input), element("button", { class: "primary" }, "Continue")));
    document.title = "Quorva";
    input.focus();
}

async function start() {
    try {
        allowed = await settings();
    } catch (error) {
        if (!(error instanceof Failure))
            throw error;
        if (error.needsToken) {
            showTokenForm();
            return;
        }
        replace(main, notice("error", error.message, " ", element("button", { onclick: start }, "Try again")));
        return;
    }
    await watch();
    if (state.failure?.needsToken)
        return;
    showNavigation(allowed);
    show({ keepFocus: true });
}

addEventListener("hashchange", () => {
    if (location.hash.startsWith("#token=")) {
        takeToken();
        start();
    } else if (allowed) {
        show();
    }
});
addEventListener("beforeunload", (event) => {
    if (hasDrafts())
        event.preventDefault();
});
document.getElementById("skip").addEventListener("click", (event) => {
    event.preventDefault(); // the fragment of the address is the view
    main.focus();
});

takeToken();
onReport(onEveryReport);
start();
