// A plot of the last minutes: lines, an axis that starts at 0, a legend that reads out the values under the pointer.

import { drawing, element, replace } from "./dom.js";

const Height = 132;
const Left = 52;
const Right = 8;
const Top = 8;
const Bottom = 20;
const Spans = { 60: 20, 120: 30, 300: 60 }; // seconds shown, and seconds between two marks
const MostLines = 6;

export class Plot {
    /**
     * `format` turns a value into text. The axis ends at `least` or above, at a round number of units: `base` is 1024
     * for bytes, otherwise 10.
     */
    constructor(title, format, least = 1, base = 10) {
        this.format = format;
        this.title = title;
        this.least = least;
        this.base = base;
        this.lines = [];
        this.picture = drawing("svg", { role: "img", height: Height, width: "100%" });
        this.legend = element("ul", { class: "legend" });
        this.figure = element("figure", { class: "plot" },
            element("figcaption", null, element("strong", null, title), this.legend), this.picture);
        this.picture.addEventListener("pointermove", (event) => this.point(event.offsetX));
        this.picture.addEventListener("pointerleave", () => this.point(null));
        this.watcher = new ResizeObserver(() => this.draw());
        this.watcher.observe(this.picture);
    }

    end() {
        this.watcher.disconnect();
    }

    /** Shows lines: [{name, values}], with one value, or NaN, for each of the times in seconds. */
    show(times, lines) {
        this.times = times;
        this.lines = lines.slice(0, MostLines);
        this.draw();
    }

    draw() {
        const width = this.picture.clientWidth;
        if (!this.times?.length || width <= Left + Right)
            return;
        const end = this.times.at(-1);
        const span = Number(Object.keys(Spans).find((seconds) => end - this.times[0] <= seconds) ?? 300);
        const marks = [...Array(span / Spans[span] + 1).keys()].map((mark) => mark * Spans[span]);
        const values = this.lines.flatMap((line) => line.values).filter(Number.isFinite);
        const top = roundUp(Math.max(this.least, ...values), this.base);
        this.x = (time) => Left + (width - Left - Right) * (1 - (end - time) / span);
        const y = (value) => Top + (Height - Top - Bottom) * (1 - value / top);
        replace(this.picture,
            [0, 0.5, 1].map((share) => [
                drawing("line", { class: "grid", x1: Left, x2: width - Right, y1: y(share * top), y2: y(share * top) }),
                drawing("text", { x: Left - 6, y: y(share * top) + 4, "text-anchor": "end" }, this.format(share * top)),
            ]),
            marks.filter((ago) => width > 340 || ago % span === 0).map((ago) =>
                drawing("text", { x: this.x(end - ago), y: Height - 5,
                    "text-anchor": ago === 0 ? "end" : ago === span ? "start" : "middle" },
                ago === 0 ? "now" : span > 120 ? `−${ago / 60} min` : `−${ago} s`)),
            this.lines.map((line, at) =>
                drawing("path", { class: `line series${at}`, d: this.path(line.values, y) })),
            this.mark = drawing("line", { class: "mark", y1: Top, y2: Height - Bottom, visibility: "hidden" }));
        this.read(this.times.length - 1);
    }

    path(values, y) {
        let drawn = "";
        let isOpen = false;
        values.forEach((value, at) => {
            if (Number.isFinite(value) && this.x(this.times[at]) >= Left) {
                drawn += `${isOpen ? "L" : "M"}${this.x(this.times[at]).toFixed(1)} ${y(value).toFixed(1)}`;
                isOpen = true;
            } else {
                isOpen = false;
            }
        });
        return drawn;
    }

    /** Shows the values at a position, or the latest ones. */
    point(place) {
        if (!this.times?.length || !this.mark)
            return;
        let at = this.times.length - 1;
        if (place !== null) {
            const distance = (index) => Math.abs(this.x(this.times[index]) - place);
            at = this.times.reduce((best, _, index) => (distance(index) < distance(best) ? index : best), at);
            this.mark.setAttribute("x1", this.x(this.times[at]));
            this.mark.setAttribute("x2", this.x(this.times[at]));
        }
        this.mark.setAttribute("visibility", place === null ? "hidden" : "visible");
        this.read(at);
    }

    read(at) {
        const texts = this.lines.map((line) => `${line.name} ${this.format(line.values[at])}`);
        replace(this.legend, this.lines.map((line, index) => element("li", { class: `series${index}` },
            line.name, " ", element("b", null, this.format(line.values[at])))));
        this.picture.setAttribute("aria-label", `${this.title}: ${texts.join(", ") || "nothing yet"}`);
    }
}

/** The next of 1, 2, 5, 10, 20 and so on, times the unit. */
function roundUp(value, base) {
    const unit = base === 10 ? 1 : base ** Math.floor(Math.log(value) / Math.log(base));
    const units = value / unit;
    const power = 10 ** Math.floor(Math.log10(units));
    return unit * ([1, 2, 5, 10].map((step) => step * power).find((end) => end >= units * 0.999999) ?? units);
}
