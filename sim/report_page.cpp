#include "sim/report_page.h"

namespace tarn::sim {

const char* const kPageStyle = R"css(
:root { color-scheme: light dark; --ink: #1c2733; --soft: #586675; --rule: #d5dbe2; --page: #ffffff;
  --panel: #f5f7f9; --shell: #dfe5eb; --rim: #1c2733; --good: #1a7f45; --bad: #c62828; --warn: #a05a00;
  --j1: #1f6fb4; --j2: #d9730d; --j3: #2a8f4a; --j4: #c2334d; --j5: #7a52b3; --j6: #87642f; }
@media (prefers-color-scheme: dark) { :root { --ink: #e3e8ee; --soft: #9aa7b5; --rule: #3a4550;
  --page: #14191f; --panel: #1c232b; --shell: #8593a1; --rim: #0b0e12; --good: #5ecb8a; --bad: #ff7b72; --warn: #e3b341;
  --j1: #6cb2f0; --j2: #f5a356; --j3: #6fcf8b; --j4: #f2788d; --j5: #b794f0; --j6: #c9a36a; } }
.j1 { --c: var(--j1); } .j2 { --c: var(--j2); } .j3 { --c: var(--j3); }
.j4 { --c: var(--j4); } .j5 { --c: var(--j5); } .j6 { --c: var(--j6); }

body { font: 15px/1.5 system-ui, sans-serif; color: var(--ink); background: var(--page);
  max-width: 1000px; margin: 2em auto; padding: 0 1em; overflow-wrap: break-word; }
h1 { font-size: 1.7em; margin: 0.3em 0 0; } .badge { font-size: 0.55em; margin-left: 0.4em; display: inline-block; }
header p { margin: 0.3em 0; } .soft { color: var(--soft); } nav { display: flex; flex-wrap: wrap; gap: 0 1em; }
nav, .soft, small { font-size: 13px; } nav span { display: contents; }
summary { cursor: pointer; color: var(--soft); } details[open] summary { margin-bottom: 0.5em; } h2 { font-size: 1.15em; margin: 1.8em 0 0.5em; }
h3 { font-size: 1em; margin: 1.6em 0 0; } h3 small { font-weight: 400; color: var(--soft); margin-left: 0.5em; }
a { color: inherit; } :focus-visible { outline: 2px solid var(--j1); outline-offset: 2px; }
table { border-collapse: collapse; max-width: 100%; }
.table { overflow-x: auto; }
td, th { padding: 0.25em 1em 0.25em 0; text-align: left; border-bottom: 1px solid var(--rule);
  vertical-align: top; }
.settings td, #log td { overflow-wrap: anywhere; }
th { color: var(--soft); font-weight: 600; }
td.n, th.n { text-align: right; font-variant-numeric: tabular-nums; }
td.n, td.word, td.kind { white-space: nowrap; }
.good { color: var(--good); font-weight: 600; } .bad { color: var(--bad); font-weight: 600; }
tr.warn .kind { color: var(--warn); } tr.error .kind, tr.fatal .kind { color: var(--bad); font-weight: 600; }
#log { max-height: 26em; overflow-y: auto; }

.views:not([hidden]) { display: flex; flex-wrap: wrap; gap: 1em; } .views svg { flex: 1 1 300px; min-width: 0; }
.views svg { background: var(--panel); border-radius: 4px; }
.views text { fill: var(--ink); font: 14px system-ui, sans-serif; }
.arm { fill: none; stroke: var(--ink); stroke-width: 5; stroke-linecap: round; stroke-linejoin: round; }
.joint { fill: var(--page); stroke: var(--ink); stroke-width: 2; } .flange { fill: var(--j4); }
.base { stroke: var(--soft); stroke-width: 8; }

.tools { position: sticky; top: 0; z-index: 1; background: var(--page); padding: 0.4em 0;
  border-bottom: 1px solid var(--rule); display: flex; flex-wrap: wrap; gap: 0.3em 0.6em; align-items: center; }
.tools input { width: 5.5em; font: inherit; } .tools button { font: inherit; }
.legend { margin: 0.3em 0 0; display: flex; flex-wrap: wrap; gap: 0.1em 0.9em; font-size: 13px; }
.legend button { all: unset; cursor: pointer; padding: 0.1em 0; }
.legend button:focus-visible { outline: 2px solid var(--j1); }
.legend .key::before { content: ""; display: inline-block; width: 18px; height: 3px; margin-right: 5px;
  vertical-align: middle; background: var(--c); }
.legend .key[aria-pressed=false] { color: var(--soft); text-decoration: line-through; }
.legend .key[aria-pressed=false]::before { background: var(--rule); }
.legend .at { color: var(--soft); }
.legend b, .legend .at { font-weight: 400; font-variant-numeric: tabular-nums; display: inline-block;
  min-width: 5.5em; }
.frame { display: grid; grid-template-columns: 4.4em minmax(0, 1fr); font-size: 12px; color: var(--soft);
  font-variant-numeric: tabular-nums; }
.frame svg { grid-area: 2 / 2; width: 100%; height: 220px; background: var(--panel); touch-action: pan-y;
  cursor: crosshair; display: block; }
.words { grid-area: 1 / 2; position: relative; height: 1.5em; }
.words span { position: absolute; overflow: hidden; text-overflow: ellipsis; white-space: nowrap; }
.ys { grid-area: 2 / 1; position: relative; }
.ys span { position: absolute; right: 6px; transform: translateY(-50%); }
.xs { grid-area: 3 / 2; position: relative; height: 1.6em; }
.xs span { position: absolute; transform: translateX(-50%); }
.xs::after { content: "s"; position: absolute; right: 0; top: 1.2em; }
.frame path, .frame line, .frame polyline { fill: none; vector-effect: non-scaling-stroke; }
.grid { stroke: var(--rule); } .line { stroke: var(--c); stroke-width: 1.4; stroke-linejoin: round; }
.line .dots { stroke-width: 5; stroke-linecap: round; }
.marks line { stroke: var(--soft); } .marks .event { stroke-dasharray: 4 3; }
.marks .warn { stroke: var(--warn); stroke-width: 2; }
.marks .error, .marks .fatal { stroke: var(--bad); stroke-width: 2; }
.span { fill: var(--j1); opacity: 0.2; } .cursor { stroke: var(--ink); opacity: 0.55; pointer-events: none; }
#arm canvas { width: 100%; aspect-ratio: 1; background: var(--panel); border-radius: 4px; cursor: grab;
  touch-action: pan-y; display: block; } #arm canvas[hidden] { display: none; } #arm canvas:active { cursor: grabbing; }
.player { display: grid; grid-template-columns: 2.6em minmax(0, 1fr) auto; gap: 0.4em 0.6em; margin-top: 0.6em;
  align-items: center; } .player button, .player select { font: inherit; height: 2.2em; }
.player output, .player small { grid-column: 1 / -1; } .player small { color: var(--soft); }
.player output { font-variant-numeric: tabular-nums; }
[id] { scroll-margin-top: 1em; }
@media (min-width: 1000px) { .run { max-width: 1440px; display: grid; gap: 0 2em; padding: 0 2em;
    grid-template-columns: clamp(340px, 30vw, 460px) minmax(0, 1fr); }
  .run header { grid-column: 1 / -1; margin-bottom: 1em; }
  #arm { position: sticky; top: 1em; align-self: start; }
  main > h2:first-child { margin-top: 0; } }
@media (max-width: 600px) { body { margin-top: 1em; } table { font-size: 13px; }
  td, th { padding-right: 0.6em; }
  .settings th, .settings td { display: block; } .settings th { border: 0; padding-bottom: 0; }
  .frame { grid-template-columns: 3.9em minmax(0, 1fr); font-size: 11px; } .hint { font-size: 13px; }
  .tools input { width: 4.2em; } }
@media print { .tools { display: none; } #log { max-height: none; } }
)css";

const char* const kIndexStyle = R"css(
.index { max-width: 1240px; }
.cards { display: grid; grid-template-columns: repeat(auto-fill, minmax(min(100%, 22em), 1fr)); gap: 1em; }
article { background: var(--panel); border: 1px solid var(--rule); border-radius: 8px; padding: 0.8em 1em; }
article.fails { border-color: var(--bad); }
article a { text-decoration: none; } article h2 { margin: 0.4em 0 0; }
article p { margin: 0.3em 0; } article ul { margin: 0.3em 0; padding: 0; list-style: none; font-size: 13px; }
article svg { width: 100%; display: block; }
article .settings { color: var(--soft); font-size: 13px; }
article .line, .way, .zero { fill: none; } article path { vector-effect: non-scaling-stroke; } article .line { stroke-width: 1.2; } .zero { stroke: var(--rule); }
.way { stroke: var(--j4); } article .arm { stroke-width: 4.5; } .pale { opacity: 0.25; }
article .base { fill: var(--soft); stroke: none; } article text { fill: var(--soft); font-size: 20px; }
#only:checked ~ .cards .passes { display: none; } #only, [for=only] { display: inline-block; margin-bottom: 1em; }
)css";

const char* const kPageScript = R"js(
(() => {
    const plots = document.getElementById("plots");
    if (!plots) return;

    // ---- samples: see data-samples; each is the step from the last number, in whole quanta
    const digits = plots.dataset.digits;
    const valueOf = new Map([...digits].map((digit, value) => [digit, value]));

    function decoded(text, quantum) {
        const values = [];
        let at = 0, number = 0, step = 0;
        const readNumber = () => {
            let result = 0;
            for (let shift = 0; ; shift += 5) {
                const digit = valueOf.get(text[at++]);
                result += (digit % 32) * 2 ** shift;
                if (digit < 32) return result;
            }
        };
        const add = () => {
            if (step !== null) number += step;
            values.push(step === null ? NaN : number * quantum);
        };
        while (at < text.length) {
            if (text[at] === "*") {  // the last step again, so many times
                at++;
                for (let n = readNumber(); n > 0; n--) add();
            } else if (text[at] === "!") {  // not a number
                at++;
                step = null;
                add();
            } else {
                const twice = readNumber();
                step = twice % 2 === 0 ? twice / 2 : -(twice + 1) / 2;
                add();
            }
        }
        return Float64Array.from(values);
    }

    const time = decoded(plots.dataset.times, Number(plots.dataset.quantum));
    const whole = [Number(plots.dataset.low), Number(plots.dataset.high)];
    const shortest = Math.min(0.004, whole[1] - whole[0]);  // s, a few cycles
    const charts = [...plots.querySelectorAll(".plot")].map((plot) => ({
        plot,
        frame: plot.querySelector(".frame"),
        svg: plot.querySelector("svg"),
        key: plot.dataset.key,
        lines: [...plot.querySelectorAll(".line")].map((group) => ({
            group,
            name: group.dataset.line,
            values: decoded(group.dataset.samples, Number(group.dataset.quantum)),
        })),
    }));
    const marks = [...document.querySelectorAll("#log [data-time]")].map((row) => ({
        time: Number(row.dataset.time),
        kind: row.dataset.kind,
        word: row.dataset.word,
    }));

    // ---- the view: a part of the run, and the lines that are off, the same in all plots
    let view = [...whole];
    const off = new Set();

    // What lies beyond the run is cut; a range that is none of it changes nothing.
    function show(start, end) {
        start = Math.max(start, whole[0]);
        end = Math.min(end, whole[1]);
        if (start < end) {
            const length = Math.max(end - start, shortest);
            start = Math.min(Math.max((start + end - length) / 2, whole[0]), whole[1] - length);
            view = [start, length < whole[1] - whole[0] ? start + length : whole[1]];
        }
        update();
    }

    function zoom(factor) {
        const middle = (view[0] + view[1]) / 2, half = (view[1] - view[0]) / 2 * factor;
        show(middle - half, middle + half);
    }

    // by shares of its length, not beyond the ends of the run
    function move(share) {
        const length = view[1] - view[0];
        const start = Math.min(Math.max(view[0] + share * length, whole[0]), whole[1] - length);
        show(start, start + length);
    }

    // ---- drawing
    const tidy = (value) => String(Number(value.toPrecision(9)));

    function ticks(low, high, count) {
        const raw = (high - low) / count;
        const decade = 10 ** Math.floor(Math.log10(raw));
        const step = decade * [1, 2, 5, 10].find((lead) => raw <= lead * decade * (1 + 1e-9));
        const all = [];
        for (let n = Math.ceil(low / step - 1e-9); n * step <= high + 1e-9 * step; n++) all.push(n * step);
        return all;
    }

    // first sample not before a time
    function indexAt(t) {
        let low = 0, high = time.length;
        while (low < high) {
            const middle = (low + high) >> 1;
            if (time[middle] < t) low = middle + 1;
            else high = middle;
        }
        return low;
    }

    function element(name, attributes) {
        const made = document.createElementNS("http://www.w3.org/2000/svg", name);
        for (const [key, value] of Object.entries(attributes)) made.setAttribute(key, value);
        return made;
    }

    function label(style, text) {
        const made = document.createElement("span");
        Object.assign(made.style, style);
        made.textContent = text;
        return made;
    }

    // The samples themselves where there is room; else of each pixel column the lowest and the highest one.
    function drawLine(line, first, last, x, y, roomy) {
        const segments = [[]];
        const add = (k) => segments.at(-1).push(x(time[k]).toFixed(1) + "," + y(line.values[k]).toFixed(1));
        for (let k = first; k <= last; k++) {
            const column = Math.floor(x(time[k]));
            let low = -1, high = -1, next = k;
            for (; next <= last && (next === k || Math.floor(x(time[next])) === column); next++) {
                const value = line.values[next];
                if (Number.isNaN(value)) continue;
                if (low < 0 || value < line.values[low]) low = next;
                if (high < 0 || value > line.values[high]) high = next;
            }
            k = next - 1;
            if (low < 0) {
                segments.push([]);
                continue;
            }
            add(Math.min(low, high));
            if (low !== high) add(Math.max(low, high));
        }
        line.group.replaceChildren(...segments.filter((points) => points.length > 0)
            .map((points) => element("polyline", {points: points.join(" ")})));
        const alone = roomy ? segments.flat() : segments.filter((points) => points.length === 1).flat();
        if (alone.length > 0) {
            line.group.append(element("path", {class: "dots", d: alone.map((p) => "M" + p + "h0").join("")}));
        }
    }

    function draw(chart) {
        const width = chart.svg.clientWidth || 800, height = chart.svg.clientHeight || 220;
        // one sample more on either side, so that lines reach the edges
        const first = Math.max(indexAt(view[0]) - 1, 0);
        const last = Math.min(indexAt(view[1]) + 1, time.length - 1);

        let low = Infinity, high = -Infinity, quantum = 0;
        for (const line of chart.lines) {
            line.group.style.display = off.has(line.name) ? "none" : "";
            if (off.has(line.name)) continue;
            for (let k = first; k <= last; k++) {
                if (line.values[k] < low) low = line.values[k];
                if (line.values[k] > high) high = line.values[k];
            }
            quantum = Math.max(quantum, Number(line.group.dataset.quantum));
        }
        if (!(low <= high)) low = high = 0;
        // never so tall that the steps of the stored numbers would pass for a signal
        const least = Math.max(20 * quantum, low === high ? 0.2 * Math.abs(low) || 2 : 0);
        const rim = Math.max(0.05 * (high - low), (least - (high - low)) / 2);
        low -= rim;
        high += rim;
        const x = (t) => (t - view[0]) / (view[1] - view[0]) * width;
        const y = (value) => (high - value) / (high - low) * height;

        chart.svg.setAttribute("viewBox", "0 0 " + width + " " + height);
        const levels = ticks(low, high, 6);
        chart.svg.querySelector(".grid").setAttribute("d",
            levels.map((value) => "M0," + y(value).toFixed(1) + "H" + width).join(""));
        chart.frame.querySelector(".ys").replaceChildren(
            ...levels.map((value) => label({top: y(value) + "px"}, tidy(value))));
        chart.frame.querySelector(".xs").replaceChildren(
            ...ticks(view[0], view[1], Math.max(2, Math.min(10, width / 90)))
                .map((t) => label({left: x(t) / width * 100 + "%"}, tidy(t))));

        const visible = marks.filter((mark) => view[0] <= mark.time && mark.time <= view[1]);
        const byPlace = new Map(visible.map((mark) => [Math.round(x(mark.time)) + mark.kind, mark]));
        chart.svg.querySelector(".marks").replaceChildren(...[...byPlace.values()].map((mark) =>
            element("line", {class: mark.kind, x1: x(mark.time), x2: x(mark.time),
                             y1: mark.word ? 0 : height - 9, y2: height})));
        const words = visible.filter((mark) => mark.word);
        chart.frame.querySelector(".words").replaceChildren(...words.map((mark, n) => {
            const end = n + 1 < words.length ? x(words[n + 1].time) : width;
            return label({left: x(mark.time) / width * 100 + "%",
                          maxWidth: (end - x(mark.time)) / width * 100 + "%"}, mark.word);
        }));

        chart.cursor ??= element("line", {class: "cursor"});
        chart.cursor.setAttribute("y2", height);
        chart.svg.append(chart.cursor);
        chart.timeToX = x;

        const roomy = (last - first) * 8 < width;
        for (const line of chart.lines) if (!off.has(line.name)) drawLine(line, first, last, x, y, roomy);
        for (const key of chart.plot.querySelectorAll("[data-line][aria-pressed]")) {
            key.setAttribute("aria-pressed", String(!off.has(key.dataset.line)));
        }
    }

    let waiting = false;
    function update() {
        from.value = tidy(Math.round(view[0] * 1e4) / 1e4);
        to.value = tidy(Math.round(view[1] * 1e4) / 1e4);
        back.disabled = view[0] === whole[0] && view[1] === whole[1];
        const parts = [];
        if (!back.disabled) parts.push("zoom=" + from.value + "," + to.value);
        if (off.size > 0) parts.push("off=" + [...off].sort().join(","));
        if (now > whole[0]) parts.push("t=" + tidy(Math.round(now * 1e4) / 1e4));
        history.replaceState(null, "", parts.length > 0 ? "#" + parts.join("&") : location.pathname);
        if (waiting) return;
        waiting = true;
        requestAnimationFrame(() => {
            waiting = false;
            charts.forEach(draw);
            [slider.min, slider.max] = view;
            showNow();
        });
    }

    // ---- the time that the arm is shown at: as chosen, or for a moment that under the pointer
    let now = whole[0], under = null, playing = false, drawn = 0;
    const joints = (key) => charts.find((chart) => chart.key === key).lines.map((line) => line.values);
    const aside = document.getElementById("arm");
    const picture = armPicture(aside, {time, measured: joints("j6_deg"), commanded: joints("jC_deg"), decoded});
    const player = document.createElement("div");
    player.className = "player";
    player.innerHTML = '<button type="button"></button><input type="range" step="any" aria-label="Time"/>' +
        '<select aria-label="Speed">' + [0.02, 0.1, 0.25, 0.5, 1, 2, 5, 10, 30].map((speed) =>
            '<option value="' + speed + '">\u00d7 ' + speed + '</option>').join("") + '</select>' +
        '<output></output><small>Drag to turn. The time is that of the line in the plots: click there to ' +
        'set it. Plays what the plots show.</small>';
    aside.querySelector("canvas").after(player);
    const [play, slider, speed] = player.children, told = player.querySelector("output");
    speed.value = "1";

    function nearest(t) {
        const k = Math.min(indexAt(t), time.length - 1);
        return k > 0 && t - time[k - 1] < time[k] - t ? k - 1 : k;
    }

    function showNow(values = true) {
        const k = nearest(under ?? now);
        picture(k);
        slider.value = now;
        const events = marks.filter((mark) => mark.word && mark.time <= time[k] + 5e-4);
        told.textContent = time[k].toFixed(3) + " s" + (events.length > 0 ? ", " + events.at(-1).word : "");
        for (const chart of charts) {
            if (!chart.timeToX) continue;
            const x = chart.timeToX(time[k]);
            chart.cursor.setAttribute("x1", x);
            chart.cursor.setAttribute("x2", x);
            if (values) chart.read(k);
        }
    }

    function choose(t) {
        now = Math.min(Math.max(t, whole[0]), whole[1]);
        showNow();
    }

    function setPlaying(on) {
        playing = on;
        play.textContent = on ? "\u23f8\ufe0e" : "\u25b6\ufe0e";
        play.setAttribute("aria-label", on ? "Pause" : "Play");
    }

    function start() {
        setPlaying(true);
        if (now < view[0] || view[1] <= now + 1e-3) now = view[0];
        let before = null;
        const frame = (at) => {
            if (!playing) return;
            const passed = before === null ? 0 : Math.min(at - before, 100) / 1000 * Number(speed.value);
            before = at;
            now += passed;
            // a part that was not recorded is passed over
            const next = indexAt(now);
            if (next > 0 && next < time.length && time[next] - time[next - 1] > 1) now = time[next];
            if (now >= view[1]) {
                now = view[1];
                pause();
                return;
            }
            const told = at - drawn > 100;
            if (told) drawn = at;
            showNow(told);
            requestAnimationFrame(frame);
        };
        requestAnimationFrame(frame);
    }
    function pause() {
        setPlaying(false);
        update();
    }
    play.addEventListener("click", () => playing ? pause() : start());
    slider.addEventListener("input", () => choose(Number(slider.value)));
    slider.addEventListener("change", update);

    // What the address does not name stays as it is.
    function readAddress() {
        const asked = new URLSearchParams(location.hash.slice(1));
        if (asked.has("off")) {
            off.clear();
            for (const name of asked.get("off").split(",")) if (name) off.add(name);
        }
        if (asked.has("t") && Number.isFinite(Number(asked.get("t")))) choose(Number(asked.get("t")));
        if (asked.has("zoom")) show(...asked.get("zoom").split(",").map(Number));
        update();
    }

    // ---- what the user does
    const tools = document.createElement("div");
    tools.className = "tools";
    tools.innerHTML = '<label>From <input type="number" step="any"/></label>' +
        '<label>to <input type="number" step="any"/> s</label>' +
        '<button type="button">Whole run</button>';
    const [from, to] = tools.querySelectorAll("input");
    const back = tools.querySelector("button");
    for (const input of [from, to]) {
        input.addEventListener("change", () => show(Number(from.value), Number(to.value)));
    }
    back.addEventListener("click", () => show(...whole));
    plots.querySelector(".hint").textContent = "Drag over a plot to zoom, click to set the time of the arm, double-click for the whole run; the " +
        "legend switches lines off. Keys on a plot: + and \u2212 zoom, \u2190 and \u2192 move, 0 goes back.";
    plots.querySelector(".hint").after(tools);

    const keys = {
        "+": () => zoom(0.5), "=": () => zoom(0.5), "-": () => zoom(2), "0": () => show(...whole),
        ArrowLeft: () => move(-0.2), ArrowRight: () => move(0.2), Escape: () => show(...whole),
    };
    for (const chart of charts) {
        // the legend, with room for the values under the pointer
        const legend = chart.plot.querySelector(".legend");
        for (const key of legend.querySelectorAll(".key")) {
            const button = document.createElement("button");
            button.type = "button";
            button.className = key.className;
            button.dataset.line = key.dataset.line;
            button.setAttribute("aria-pressed", "true");
            button.append(key.textContent, " ", document.createElement("b"));
            button.addEventListener("click", () => {
                if (!off.delete(button.dataset.line)) off.add(button.dataset.line);
                update();
            });
            key.replaceWith(button);
        }
        const at = document.createElement("span");
        at.className = "at";
        legend.append(at);

        const timeAt = (event) => {
            const box = chart.svg.getBoundingClientRect();
            const share = Math.min(Math.max((event.clientX - box.left) / box.width, 0), 1);
            return view[0] + share * (view[1] - view[0]);
        };
        chart.read = (k) => {
            at.textContent = "at " + tidy(time[k]) + " s";
            for (const line of chart.lines) {
                const value = legend.querySelector('[data-line="' + line.name + '"] b');
                value.textContent = String(Number(line.values[k].toPrecision(5)));
            }
        };
        chart.svg.addEventListener("pointermove", (event) => {
            if (playing) return;
            under = timeAt(event);
            showNow();
        });
        chart.svg.addEventListener("pointerleave", () => {
            under = null;
            showNow();
        });

        chart.svg.addEventListener("pointerdown", (event) => {
            if (event.button !== 0) return;
            const start = timeAt(event), startX = event.clientX;
            const box = chart.svg.getBoundingClientRect(), scale = chart.svg.viewBox.baseVal.width / box.width;
            const span = element("rect", {class: "span", y: 0, height: "100%", width: 0});
            chart.svg.append(span);
            const drag = (moved) => {
                const left = Math.max(Math.min(startX, moved.clientX), box.left) - box.left;
                const right = Math.min(Math.max(startX, moved.clientX), box.right) - box.left;
                span.setAttribute("x", left * scale);
                span.setAttribute("width", (right - left) * scale);
            };
            const end = (ended) => {
                span.remove();
                window.removeEventListener("pointermove", drag);
                window.removeEventListener("pointerup", end);
                window.removeEventListener("pointercancel", end);
                window.removeEventListener("keydown", end, true);
                if (ended.type === "keydown" && ended.key === "Escape") ended.stopPropagation();
                // a few pixels are a click
                if (ended.type !== "pointerup") return;
                if (Math.abs(ended.clientX - startX) < 5) {
                    choose(start);
                    update();
                    return;
                }
                const stop = timeAt(ended);
                show(Math.min(start, stop), Math.max(start, stop));
            };
            window.addEventListener("pointermove", drag);
            window.addEventListener("pointerup", end);
            window.addEventListener("pointercancel", end);
            window.addEventListener("keydown", end, true);
        });
        chart.svg.addEventListener("dblclick", () => show(...whole));

        chart.frame.tabIndex = 0;
        chart.frame.setAttribute("role", "group");
        chart.frame.setAttribute("aria-label", chart.plot.querySelector("h3").textContent + ", zoom with keys");
        chart.frame.addEventListener("keydown", (event) => {
            if (!(event.key in keys) || event.ctrlKey || event.altKey || event.metaKey) return;
            event.preventDefault();
            keys[event.key]();
        });
    }

    window.addEventListener("resize", update);
    window.addEventListener("hashchange", () => {
        readAddress();
        if (location.hash.startsWith("#zoom")) plots.scrollIntoView();
    });
    setPlaying(false);
    // a link to a part of the run opens at the plots
    const zoomed = location.hash.startsWith("#zoom");
    readAddress();
    if (zoomed) window.addEventListener("load", () => requestAnimationFrame(() => plots.scrollIntoView()));
})();
)js";

}  // namespace tarn::sim
