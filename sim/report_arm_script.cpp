#include "sim/report_arm.h"

namespace tarn::sim {

const char* const kArmScript = R"js(
"use strict";
// The arm on the canvas of its element. `run`: time, measured and commanded joint angles by joint, decoded.
// Lengths in m, in the room, z up; the eye looks from an azimuth and an elevation, a little in perspective.
function armPicture(element, run) {
    const canvas = element.querySelector("canvas"), pen = canvas.getContext("2d");
    const rows = (text) => text ? text.split(";").map((row) => row.split(" ").map(Number)) : [];
    const links = rows(element.dataset.links), base = rows(element.dataset.base);
    const load = element.dataset.load.split(" ").map(Number);
    const scenery = element.dataset.scenery ? element.dataset.scenery.split(";").map((scene) => {
        const [time, ...surfaces] = scene.split(",");
        return {time: Number(time), surfaces: surfaces.map((surface) => surface.split(" ").map(Number))};
    }) : [];
    const force = element.dataset.force ? element.dataset.force.split(";").map((axis) => {
        const [quantum, samples] = axis.split(" ");
        return run.decoded(samples, Number(quantum));
    }) : null;

    // ---- vectors
    const sum = (a, b, scale = 1) => [a[0] + scale * b[0], a[1] + scale * b[1], a[2] + scale * b[2]];
    const dot = (a, b) => a[0] * b[0] + a[1] * b[1] + a[2] * b[2];
    const cross = (a, b) => [a[1] * b[2] - a[2] * b[1], a[2] * b[0] - a[0] * b[2], a[0] * b[1] - a[1] * b[0]];
    const size = (a) => Math.sqrt(dot(a, a));
    const inRoom = (v) => [0, 1, 2].map((n) => base[0][n] * v[0] + base[1][n] * v[1] + base[2][n] * v[2]);

    // Frames of the arm, base to flange: origin and axes in the room.
    function frames(joints, k) {
        let [x, y, z] = base, origin = [0, 0, 0];
        const all = [{origin, x, y, z}];
        links.forEach(([a, alpha, d, shift], joint) => {
            const turn = (joints[joint][k] - shift) * Math.PI / 180, twist = alpha * Math.PI / 180;
            const c = Math.cos(turn), s = Math.sin(turn), ct = Math.cos(twist), st = Math.sin(twist);
            const ahead = sum([c * x[0], c * x[1], c * x[2]], y, s);
            const aside = sum([c * y[0], c * y[1], c * y[2]], x, -s);
            origin = sum(sum(origin, z, d), ahead, a);
            x = ahead;
            [y, z] = [sum([ct * aside[0], ct * aside[1], ct * aside[2]], z, st),
                      sum([ct * z[0], ct * z[1], ct * z[2]], aside, -st)];
            all.push({origin, x, y, z});
        });
        return all;
    }

    // ---- what the picture has to hold
    const count = run.time.length, step = Math.max(1, Math.floor(count / 600));
    const way = [];  // of the flange
    const held = [[0, 0, 0], ...base.slice(0, 2).map((axis) => axis.map((v) => 0.2 * v))];
    for (let k = 0; k < count; k += step) {
        const points = frames(run.measured, k).map((frame) => frame.origin);
        if (!points.flat().every(Number.isFinite)) continue;
        way.push({time: run.time[k], point: points.at(-1)});
        if (way.length % 10 === 1) held.push(...points.slice(1));
        else held.push(points.at(-1));
    }
    const middle = [0, 1, 2].map((n) => held.reduce((all, p) => all + p[n], 0) / held.length);
    const reach = Math.max(0.3, 2 * Math.max(...held.map((p) => size(sum(p, middle, -1)))));
    const thick = links.reduce((all, [a, , d]) => all + Math.abs(a) + Math.abs(d), 0) * 0.032;
    const radii = [1.25, 1.2, 1, 0.85, 0.8, 0.75, 0.7].map((share) => share * thick);
    const forceAt = (k) => force ? inRoom(force.map((axis) => axis[k])) : [0, 0, 0];
    let strong = 0;  // a force that all but a few are under
    if (force) {
        const sizes = [];
        for (let k = 0; k < count; k += step) sizes.push(size(forceAt(k)));
        strong = sizes.filter((f) => f > 0.5).sort((a, b) => a - b).at(-1 - Math.floor(sizes.length / 50)) || 1;
    }

    // ---- the eye
    const first = element.dataset.view.split(" ").map(Number);
    let [azimuth, elevation] = first;
    let width = 0, height = 0, scale = 1, left = 0, top = 0, right, up, near;
    function look() {
        const ca = Math.cos(azimuth), sa = Math.sin(azimuth), ce = Math.cos(elevation), se = Math.sin(elevation);
        right = [-sa, ca, 0];
        up = [-se * ca, -se * sa, ce];
        near = [ce * ca, ce * sa, se];
        // as large as the whole run allows
        [scale, left, top] = [1, 0, 0];
        const seen = held.map(place), xs = seen.map(({x}) => x), ys = seen.map(({y}) => y);
        const wide = Math.max(...xs) - Math.min(...xs), tall = Math.max(...ys) - Math.min(...ys);
        scale = Math.min(width / (wide + 6 * thick), height / (tall + 6 * thick), 2 * width / reach);
        left = width / 2 - scale * (Math.max(...xs) + Math.min(...xs)) / 2;
        top = height / 2 - scale * (Math.max(...ys) + Math.min(...ys)) / 2;
    }
    function place(p) {
        const from = sum(p, middle, -1), size = scale / (1 - dot(from, near) / (6 * reach));
        return {x: left + size * dot(from, right), y: top - size * dot(from, up), size};
    }

    // ---- drawing
    let ink;
    function readInk() {
        const style = getComputedStyle(canvas);
        ink = (name) => style.getPropertyValue("--" + name);
    }
    function stroke(points, color, wide, alpha = 1, dash = []) {
        pen.globalAlpha = alpha;
        pen.strokeStyle = color;
        pen.lineWidth = wide;
        pen.setLineDash(dash);
        pen.beginPath();
        points.forEach(({x, y}, n) => n ? pen.lineTo(x, y) : pen.moveTo(x, y));
        pen.stroke();
        pen.setLineDash([]);
        pen.globalAlpha = 1;
    }
    function fill(points, color, alpha) {
        pen.globalAlpha = alpha;
        pen.fillStyle = color;
        pen.beginPath();
        points.forEach(({x, y}, n) => n ? pen.lineTo(x, y) : pen.moveTo(x, y));
        pen.fill();
        pen.globalAlpha = 1;
    }
    function disc(center, normal, radius, color, rim) {
        const p = place(center), r = radius * p.size, flat = Math.abs(dot(normal, near));
        pen.beginPath();
        pen.ellipse(p.x, p.y, r, Math.max(r * flat, 0.5),
                    Math.atan2(-dot(normal, up), dot(normal, right)) + Math.PI / 2, 0, 2 * Math.PI);
        pen.fillStyle = color;
        pen.fill();
        if (rim) {
            pen.lineWidth = 1.2;
            pen.strokeStyle = rim;
            pen.stroke();
        }
    }
    // about an axis from one end to the other: the wall, then the lid that looks at the eye
    function drum(from, to, radius, color, lid) {
        const axis = sum(to, from, -1), length = size(axis) || 1, normal = axis.map((v) => v / length);
        const [back, front] = dot(normal, near) > 0 ? [from, to] : [to, from];
        disc(back, normal, radius, color);
        pen.lineCap = "butt";
        stroke([place(back), place(front)], color, 2 * radius * place(from).size);
        disc(front, normal, radius, lid, color);
    }
    function floor() {
        const n = Math.ceil(reach / 0.25), edge = n * 0.25;
        const across = Math.round(edge / 0.25);
        for (let k = -across; k <= across; k++) {
            const at = k * 0.25, alpha = 0.75 * (1 - Math.abs(k) / (across + 1));
            for (const ends of [[[at, -edge, 0], [at, edge, 0]], [[-edge, at, 0], [edge, at, 0]]]) {
                stroke(ends.map((p) => place(inRoom(p))), ink("rule"), 1, alpha);
            }
        }
    }
    function arrow(from, way, color, wide) {
        const a = place(from), b = place(sum(from, way)), length = Math.hypot(b.x - a.x, b.y - a.y);
        if (length < 2) return b;
        const head = Math.min(10, 0.6 * length), c = (b.x - a.x) / length, s = (b.y - a.y) / length;
        pen.lineCap = "butt";
        stroke([a, {x: b.x - head * c, y: b.y - head * s}], color, wide);
        fill([b, {x: b.x - head * c + head / 2 * s, y: b.y - head * s - head / 2 * c},
              {x: b.x - head * c - head / 2 * s, y: b.y - head * s + head / 2 * c}], color, 1);
        return b;
    }
    function write(text, {x, y}, color) {
        pen.font = "12px system-ui, sans-serif";
        pen.fillStyle = color;
        pen.fillText(text, Math.min(Math.max(x, 4), width - pen.measureText(text).width - 4),
                     Math.min(Math.max(y, 14), height - 6));
    }
    // a square of the surface around the place of it that is nearest to the flange
    function surface([px, py, pz, nx, ny, nz], flange) {
        const point = inRoom([px, py, pz]), raw = inRoom([nx, ny, nz]), length = size(raw);
        const normal = raw.map((v) => v / length), half = 0.16;
        const center = sum(flange, normal, dot(sum(point, flange, -1), normal));
        const aside = cross(normal, Math.abs(normal[2]) < 0.9 ? [0, 0, 1] : [1, 0, 0]);
        const u = aside.map((v) => v / size(aside) * half), v = cross(normal, u);
        const corners = [[1, 1], [1, -1], [-1, -1], [-1, 1]].map(([a, b]) => place(sum(sum(center, u, a), v, b)));
        fill(corners, ink("j1"), 0.22);
        stroke([...corners, corners[0]], ink("j1"), 1.2, 0.8);
    }

    function drawArm(all) {
        const shell = ink("shell"), dark = ink("rim"), parts = [];
        const depth = (points) => points.reduce((sum, p) => sum + dot(p, near), 0) / points.length;
        const add = (points, draw) => parts.push({depth: depth(points), draw});
        for (let n = 0; n < 6; n++) {
            const from = all[n].origin, to = all[n + 1].origin, r = radii[n + 1];
            const z = all[n].z, axis = (share) => sum(from, z, share * radii[n]);
            const joint = n === 0 ? [from, sum(from, z, 0.55 * links[0][2])] : [axis(-1.25), axis(1.25)];
            if (n > 0) add([from, to], () => {
                const ends = [place(from), place(to)], wide = 2 * r * (ends[0].size + ends[1].size) / 2;
                pen.lineCap = "round";
                stroke(ends, dark, wide + 2);
                stroke(ends, shell, wide);
                stroke(ends.map(({x, y}) => ({x: x - wide * 0.16, y: y - wide * 0.16})), "#fff", wide * 0.25, 0.35);
            });
            else add([from, to], () => drum(from, to, 0.8 * r, dark, shell));
            // a joint is wider than the two links that it holds together: it hides them
            const held = [depth([from, to]), n > 0 ? depth([all[n - 1].origin, from]) : -Infinity];
            parts.push({depth: Math.max(depth(joint), ...held) + 1e-6,
                        draw: () => drum(...joint, 1.12 * radii[n], ink("j" + (n + 1)), shell)});
        }
        const end = all[6], face = sum(end.origin, end.z, 0.35 * thick);
        add([face, face], () => drum(end.origin, face, 0.9 * thick, dark, ink("soft")));
        if (load[0] > 0) {
            const [, x, y, z] = load;
            const center = sum(sum(sum(end.origin, end.x, x), end.y, y), end.z, z);
            add([center], () => {
                pen.lineCap = "round";
                stroke([place(face), place(center)], dark, 2);
                disc(center, near, thick * Math.min(1.6, 0.7 + 0.12 * load[0]), ink("soft"), dark);
            });
        }
        parts.sort((a, b) => a.depth - b.depth);
        for (const part of parts) part.draw();
    }

    let last = 0;
    function draw(k = last) {
        last = k;
        const ratio = window.devicePixelRatio || 1;
        width = canvas.clientWidth;
        height = canvas.clientHeight;
        if (width === 0) return;
        if (canvas.width !== Math.round(width * ratio) || canvas.height !== Math.round(height * ratio)) {
            canvas.width = Math.round(width * ratio);
            canvas.height = Math.round(height * ratio);
        }
        pen.setTransform(ratio, 0, 0, ratio, 0, 0);
        pen.clearRect(0, 0, width, height);
        pen.lineJoin = "round";
        look();
        readInk();
        floor();

        const all = frames(run.measured, k), flange = all[6].origin, now = run.time[k];
        if (!flange.every(Number.isFinite)) return write("no pose", {x: 12, y: 20}, ink("bad"));
        if (base[2][2] > 0.999 && elevation > 0) {  // the shadow on the floor
            pen.lineCap = "round";
            stroke(all.map(({origin: [x, y]}) => place([x, y, 0])), ink("ink"), 1.6 * thick * scale, 0.1);
        }
        pen.lineCap = "butt";
        ["x", "y"].forEach((name, n) => {
            const tip = arrow([0, 0, 0], base[n].map((v) => 0.2 * v), ink("soft"), 1.5);
            write(name, {x: tip.x + 4, y: tip.y + 4}, ink("soft"));
        });
        stroke(way.map(({point}) => place(point)), ink("j4"), 1.2, 0.45);
        const tail = way.filter(({time}) => now - 1.5 < time && time <= now).map(({point}) => place(point));
        const scene = scenery.filter(({time}) => time <= now).at(-1);
        const shown = (scene ? scene.surfaces : []).map((plane) => {
            const behind = dot(inRoom(plane.slice(3)), near) < 0;
            return {plane, before: behind};
        });
        shown.filter(({before}) => !before).forEach(({plane}) => surface(plane, flange));
        const wanted = frames(run.commanded, k);
        const astray = Math.max(...wanted.map(({origin}, n) => size(sum(origin, all[n].origin, -1))));
        drawArm(all);
        if (astray > 0.005) {
            stroke(wanted.map(({origin}) => place(origin)), ink("ink"), 1.5, 0.7, [4, 4]);
        }
        stroke([...tail, place(flange)], ink("j4"), 2.5, 0.9);
        shown.filter(({before}) => before).forEach(({plane}) => surface(plane, flange));

        const push = forceAt(k), amount = size(push);
        if (amount > 0.5) {
            const length = Math.min(0.3 * reach * amount / strong, 0.5 * reach);
            const tip = arrow(flange, push.map((f) => f / amount * length), ink("warn"), 3);
            write(Number(amount.toPrecision(3)) + " N", {x: tip.x + 6, y: tip.y - 6}, ink("warn"));
        }
        if (astray > 0.005) write("dashed: as commanded", {x: 10, y: height - 10}, ink("soft"));
    }

    // ---- turning it
    canvas.addEventListener("pointerdown", (event) => {
        if (event.button !== 0) return;
        canvas.setPointerCapture(event.pointerId);
    });
    canvas.addEventListener("pointermove", (event) => {
        if (!canvas.hasPointerCapture(event.pointerId)) return;
        azimuth -= event.movementX * 0.01;
        elevation = Math.min(Math.max(elevation + event.movementY * 0.01, -0.3), Math.PI / 2);
        draw();
    });
    canvas.addEventListener("dblclick", () => {
        [azimuth, elevation] = first;
        draw();
    });
    canvas.tabIndex = 0;
    canvas.addEventListener("keydown", (event) => {
        const turns = {ArrowLeft: [0.1, 0], ArrowRight: [-0.1, 0], ArrowUp: [0, 0.1], ArrowDown: [0, -0.1]};
        if (!(event.key in turns)) return;
        event.preventDefault();
        azimuth += turns[event.key][0];
        elevation = Math.min(Math.max(elevation + turns[event.key][1], -0.3), Math.PI / 2);
        draw();
    });
    matchMedia("(prefers-color-scheme: dark)").addEventListener("change", () => draw());
    canvas.hidden = false;
    element.querySelector(".views").hidden = true;
    return draw;
}
)js";

}  // namespace tarn::sim
