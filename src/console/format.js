// Figures, times and keys in readable form.

const counts = new Intl.NumberFormat("en");
const short = new Intl.NumberFormat("en", { notation: "compact", maximumFractionDigits: 1 });

export function count(number) {
    return Number.isFinite(number) ? counts.format(number) : "–";
}

/** A rate or a level in few characters: 0.4, 17, 1.2K. */
export function figure(number) {
    if (!Number.isFinite(number))
        return "–";
    return Math.abs(number) < 10 ? String(Math.round(number * 10) / 10) : short.format(Math.round(number));
}

export function bytes(number) {
    if (!Number.isFinite(number))
        return "–";
    const units = ["B", "KiB", "MiB", "GiB", "TiB", "PiB"];
    let unit = 0;
    let size = number;
    for (; size >= 1024 && unit < units.length - 1; ++unit)
        size /= 1024;
    return `${size < 10 && unit > 0 ? size.toFixed(1) : Math.round(size)} ${units[unit]}`;
}

export function milliseconds(number) {
    if (!Number.isFinite(number))
        return "–";
    if (number < 1)
        return `${Math.round(number * 1000)} µs`;
    if (number < 1000)
        return `${number < 10 ? number.toFixed(1) : Math.round(number)} ms`;
    return `${(number / 1000).toFixed(1)} s`;
}

export function percent(share) {
    return Number.isFinite(share) ? `${(100 * share).toFixed(share > 0.999 && share < 1 ? 2 : 1)} %` : "–";
}

export function duration(seconds) {
    if (!Number.isFinite(seconds))
        return "–";
    const parts = [["d", 86400], ["h", 3600], ["min", 60], ["s", 1]];
    const first = parts.findIndex(([, size]) => seconds >= size);
    if (first < 0)
        return "0 s";
    let rest = Math.floor(seconds);
    return parts.slice(first, first + 2).map(([unit, size]) => {
        const whole = Math.floor(rest / size);
        rest -= whole * size;
        return `${whole} ${unit}`;
    }).join(" ");
}

/** A time in seconds since 1970, in the time zone of the browser. */
export function time(seconds) {
    if (!Number.isFinite(seconds) || seconds <= 0)
        return "–";
    const at = new Date(seconds * 1000);
    const two = (number) => String(number).padStart(2, "0");
    return `${at.getFullYear()}-${two(at.getMonth() + 1)}-${two(at.getDate())} ` +
        `${two(at.getHours())}:${two(at.getMinutes())}:${two(at.getSeconds())}`;
}

/** Text on one line: control characters as symbols, truncated if it is long. */
export function line(text, longest = 160) {
    const points = [...text.slice(0, 2 * longest)];
    const cut = text.length > 2 * longest || points.length > longest;
    // eslint-disable-next-line no-control-regex
    const safe = points.slice(0, longest).join("")
        .replace(/[\u0000-\u001f]/g, (control) => String.fromCharCode(0x2400 + control.charCodeAt(0)))
        .replace(/[\u007f-\u009f\u200b-\u200f\u2028-\u202e\u2060-\u2069\ufeff]/g, "\ufffd");
    return cut ? `${safe}…` : safe;
}

/** The part of a TableName after the directory. */
export function tableOf(name) {
    return name.slice(name.lastIndexOf("|") + 1);
}

/** The directory before it. */
export function directoryOf(name) {
    return name.slice(0, Math.max(0, name.lastIndexOf("|")));
}
