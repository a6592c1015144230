"use strict";
// What a person does with the page: zoom, search, select. Texts of the record are set as text and never as HTML.

const data = JSON.parse(document.getElementById("data").textContent);
for (const name of ["shown", "duration"]) data.calls[name] = Float64Array.from(data.calls[name]);

const chart = new Chart(data);
const canvas = document.getElementById("chart");
const viewport = document.getElementById("viewport");
const element = (id) => document.getElementById(id);
const laneOf = new Map(); // the row of each call, made when first needed
let size = { width: 0, height: 0 };

function make(tag, text, className) {
  const made = document.createElement(tag);
  if (text !== undefined) made.textContent = text;
  if (className) made.className = className;
  return made;
}

// --- Drawing ----------------------------------------------------------------------------------------------------------

let isPending = false;
function redraw() {
  if (isPending) return;
  isPending = true;
  requestAnimationFrame(() => { isPending = false; paint(); });
}

function paint(selection) {
  const ratio = window.devicePixelRatio || 1, pen = canvas.getContext("2d");
  pen.setTransform(ratio, 0, 0, ratio, 0, 0);
  chart.draw(pen, size.width, size.height - AXIS, viewport.scrollTop);
  if (selection) {
    pen.fillStyle = "rgba(11, 108, 184, 0.14)";
    pen.fillRect(Math.min(...selection), AXIS, Math.abs(selection[0] - selection[1]), size.height);
  }
}

function resize() {
  const whole = AXIS + chart.rows.bottom, ratio = window.devicePixelRatio || 1;
  const height = Math.min(whole, Math.floor(window.innerHeight * 0.72));
  size = { width: viewport.clientWidth, height };
  element("spacer").style.height = whole + "px";
  canvas.style.height = height + "px";
  canvas.width = Math.round(size.width * ratio);
  canvas.height = Math.round(height * ratio);
  paint();
}

function drawLegend() {
  data.kinds.concat([{ name: "failed" }]).forEach((kind, i) => {
    const sample = document.createElement("canvas"), item = make("li");
    sample.width = 44;
    sample.height = 26;
    const pen = sample.getContext("2d");
    pen.scale(2, 2);
    pen.fillStyle = chart.patterns[i];
    pen.fillRect(0, 0, 22, 13);
    item.append(sample, make("span", kind.name));
    element("legend").append(item);
  });
}

// --- One call ---------------------------------------------------------------------------------------------------------

function instant(time) {
  const ns = BigInt(data.start) + BigInt(Math.round(time)), ms = Number(ns / 1000000n);
  return new Date(ms).toISOString().replace("T", " ").slice(0, 23) + String(ns % 1000000n).padStart(6, "0") + " UTC";
}

// JSON with line breaks, digit by digit as the record has it: large numbers would change if they were read.
function spread(json) {
  let text = "", depth = 0;
  for (let i = 0; i < json.length; ++i) {
    const c = json[i];
    if (c === '"') {
      const begin = i;
      for (++i; json[i] !== '"'; ++i) if (json[i] === "\\") ++i;
      text += json.slice(begin, i + 1);
    } else if ("{[".includes(c) && "}]".includes(json[i + 1])) text += c + json[++i];
    else if ("{[".includes(c)) text += c + "\n" + "  ".repeat(++depth);
    else if ("}]".includes(c)) text += "\n" + "  ".repeat(--depth) + c;
    else text += c === "," ? ",\n" + "  ".repeat(depth) : c === ":" ? ": " : c;
  }
  return text;
}

function rowOf(call) {
  if (!laneOf.size) for (const row of chart.rows) if (row.lane) for (const one of row.lane.calls) laneOf.set(one, row);
  return laneOf.get(call);
}

function facts(call) {
  const all = data.calls, thread = data.threads[rowOf(call).index], real = chart.realTime(all.shown[call]);
  const list = [["Result", data.results[all.result[call]]], ["Began", instant(real)],
    ["After the first call", durationText(real)], ["Took", durationText(all.duration[call])],
    ["Process, thread", thread.process + ", " + thread.thread]];
  if (all.session[call] >= 0) list.push(["Session", data.sessions[all.session[call]]]);
  for (const [name, number] of [["Command", all.command[call]], ["Script", all.script[call]]]) {
    if (number >= 0) list.push([name, data.spans[number].name]);
  }
  return list;
}

function select(call) {
  chart.selected = call;
  const box = element("detail");
  box.replaceChildren();
  box.hidden = call < 0;
  if (call >= 0) {
    const list = make("dl");
    for (const [name, value] of facts(call)) {
      list.append(make("dt", name), make("dd", value, name === "Result" ? "result" : ""));
    }
    box.className = data.calls.failed[call] ? "detail failed" : "detail";
    const text = make("pre", spread(data.details[data.calls.detail[call]]));
    box.append(make("h3", data.functions[data.calls.function[call]].name), list, text);
  }
  redraw();
}

// Selects a call and moves to it, close enough to be seen.
function show(call) {
  const all = data.calls, middle = all.shown[call] + all.duration[call] / 2;
  const span = Math.min(chart.to - chart.from, Math.max(all.duration[call] * 8, data.length / 50, 1e6));
  if (all.shown[call] < chart.from || all.shown[call] > chart.to || span < chart.to - chart.from) {
    chart.zoomTo(middle - span / 2, middle + span / 2);
  }
  const row = rowOf(call);
  if (row.y < viewport.scrollTop || row.y + row.height + AXIS > viewport.scrollTop + size.height) {
    viewport.scrollTop = Math.max(0, row.y - size.height / 2);
  }
  select(call);
}

// --- Search -----------------------------------------------------------------------------------------------------------

let found = [], current = -1;

function textsThatMatch(texts, word) { return texts.map((text) => text.toLowerCase().includes(word)); }

function search() {
  const word = element("search").value.trim().toLowerCase(), all = data.calls;
  found = [];
  current = -1;
  if (word) {
    const functions = textsThatMatch(data.functions.map((entry) => entry.name), word);
    const results = textsThatMatch(data.results, word), details = textsThatMatch(data.details, word);
    const spans = textsThatMatch(data.spans.map((span) => span.name), word);
    for (let i = 0; i < all.function.length; ++i) {
      if (functions[all.function[i]] || results[all.result[i]] || details[all.detail[i]] ||
          spans[all.command[i]] || spans[all.script[i]]) found.push(i);
    }
  }
  chart.matches = word ? new Set(found) : null;
  element("matches").textContent = word ? (found.length || "no") + (found.length === 1 ? " match" : " matches") : "";
  redraw();
}

function step(by) {
  if (!found.length) return;
  current = current < 0 ? (by > 0 ? 0 : found.length - 1) : (current + by + found.length) % found.length;
  element("matches").textContent = (current + 1) + " of " + found.length;
  show(found[current]);
}

// --- Zoom -------------------------------------------------------------------------------------------------------------

function zoom(factor, x) {
  const middle = x === undefined ? (chart.from + chart.to) / 2 : chart.timeAt(x, size.width);
  chart.zoomTo(middle - (middle - chart.from) * factor, middle + (chart.to - middle) * factor);
  redraw();
}

function move(part) {
  const by = (chart.to - chart.from) * part;
  chart.zoomTo(chart.from + by, chart.to + by);
  redraw();
}

function whole() {
  chart.zoomTo(0, data.length);
  redraw();
}

let pressed = null;
const point = (event) => { const box = canvas.getBoundingClientRect(); return [event.clientX - box.left, event.clientY - box.top]; };

function callAt(event) {
  const [x, y] = point(event);
  return y < AXIS ? -1 : chart.callAt(x, y - AXIS + viewport.scrollTop, size.width);
}

canvas.addEventListener("mousedown", (event) => { if (event.button === 0) pressed = point(event)[0]; });
window.addEventListener("mousemove", (event) => {
  const x = point(event)[0];
  if (pressed !== null && Math.abs(x - pressed) > 4) paint([Math.max(pressed, GUTTER), Math.max(x, GUTTER)]);
});
window.addEventListener("mouseup", (event) => {
  if (pressed === null) return;
  const from = pressed, to = point(event)[0];
  pressed = null;
  if (Math.abs(to - from) > 4) {
    const times = [from, to].map((x) => chart.timeAt(Math.max(x, GUTTER), size.width)).sort((a, b) => a - b);
    chart.zoomTo(times[0], times[1]);
    redraw();
  } else {
    select(callAt(event));
  }
});
canvas.addEventListener("mousemove", (event) => {
  const call = callAt(event), all = data.calls;
  canvas.title = call < 0 ? "" : data.functions[all.function[call]].name + "  " + data.results[all.result[call]] + "  " +
    durationText(all.duration[call]);
});
canvas.addEventListener("dblclick", (event) => {
  const call = callAt(event), all = data.calls;
  if (call >= 0) chart.zoomTo(all.shown[call] - all.duration[call] / 4, all.shown[call] + all.duration[call] * 1.25);
  redraw();
});
canvas.addEventListener("wheel", (event) => {
  if (!event.ctrlKey && !event.metaKey && event.deltaX === 0 && !event.shiftKey) return;
  event.preventDefault();
  if (event.ctrlKey || event.metaKey) zoom(event.deltaY > 0 ? 1.25 : 0.8, point(event)[0]);
  else move((event.deltaX || event.deltaY) / 1000);
}, { passive: false });
canvas.addEventListener("keydown", (event) => {
  const actions = { "+": () => zoom(0.5), "=": () => zoom(0.5), "-": () => zoom(2), "0": whole,
    ArrowLeft: () => move(-0.2), ArrowRight: () => move(0.2), Escape: () => select(-1) };
  if (actions[event.key] && !event.ctrlKey) { event.preventDefault(); actions[event.key](); }
});

element("in").addEventListener("click", () => zoom(0.5));
element("out").addEventListener("click", () => zoom(2));
element("whole").addEventListener("click", whole);
element("next").addEventListener("click", () => step(1));
element("previous").addEventListener("click", () => step(-1));
element("search").addEventListener("input", search);
element("search").addEventListener("keydown", (event) => { if (event.key === "Enter") step(event.shiftKey ? -1 : 1); });
for (const button of document.querySelectorAll("button[data-call]")) {
  button.addEventListener("click", () => { show(Number(button.dataset.call)); canvas.scrollIntoView({ block: "center" }); });
}

// --- Paper ------------------------------------------------------------------------------------------------------------

const MOST_THREADS = 60;

// On paper each thread is a picture of its own, with the axis above it, so that no page ends in the middle of a row.
function drawPaper() {
  const paper = element("paper"), width = 720, ratio = 3;
  paper.replaceChildren();
  data.threads.slice(0, MOST_THREADS).forEach((_, index) => {
    const rows = chart.rows.filter((row) => row.index === index), last = rows[rows.length - 1];
    const height = last.y + last.height - rows[0].y, sheet = document.createElement("canvas");
    sheet.width = width * ratio;
    sheet.height = (AXIS + height + BREAK) * ratio;
    const pen = sheet.getContext("2d");
    pen.scale(ratio, ratio);
    chart.draw(pen, width, height, rows[0].y, rows);
    paper.append(sheet);
  });
  if (data.threads.length > MOST_THREADS) {
    paper.append(make("p", "The other " + (data.threads.length - MOST_THREADS) + " threads are on the screen alone."));
  }
}

window.addEventListener("beforeprint", drawPaper);
window.addEventListener("resize", resize);
viewport.addEventListener("scroll", redraw);
drawLegend();
resize();
window.timelineDrawn = performance.now();
