"use strict";
// Draws the calls of a record on a canvas. Times are nanoseconds on the axis of the page, where long pauses are short.

const GUTTER = 190, RIGHT = 14, AXIS = 26, ROW = 20, BAR = 14, BREAK = 8;

// A duration in three digits with its unit, as the tables have it.
function durationText(ns) {
  const two = (number) => String(Math.floor(number)).padStart(2, "0");
  if (ns >= 3.6e12) return Math.floor(ns / 3.6e12) + "h" + two(ns / 6e10 % 60) + "m";
  if (ns >= 1e12) return Math.floor(ns / 6e10) + "m" + two(ns / 1e9 % 60) + "s";
  for (const [size, name] of [[1e9, " s"], [1e6, " ms"], [1e3, " \u00b5s"]]) {
    if (ns >= size * 0.9995) {
      const number = ns / size;
      return number.toFixed(number < 9.995 ? 2 : number < 99.95 ? 1 : 0) + name;
    }
  }
  return Math.round(ns) + " ns";
}

// One row of the picture: the name of a thread, its commands or scripts, or bars.
function makeRows(data) {
  const rows = [];
  let y = 0;
  const add = (row, height) => { rows.push({ ...row, y, height }); y += height; };
  data.threads.forEach((thread, index) => {
    add({ type: "thread", name: "Process " + thread.process + ", thread " + thread.thread, index }, ROW);
    if (thread.commands.length) add({ type: "spans", name: "Commands", spans: thread.commands, index }, ROW);
    if (thread.scripts.length) add({ type: "spans", name: "Scripts", spans: thread.scripts, index }, ROW);
    for (const lane of thread.lanes) {
      const sessions = lane.sessions;
      const name = !sessions.length ? "No session"
        : sessions.length === 1 ? "Session " + sessions[0][0] : sessions.length + " sessions";
      add({ type: "calls", name, lane, index }, ROW);
    }
    y += BREAK;
  });
  rows.bottom = y;
  return rows;
}

class Chart {
  constructor(data) {
    this.data = data;
    this.rows = makeRows(data);
    this.from = 0;
    this.to = data.length;
    this.selected = -1;
    this.matches = null; // a Set of calls while something is searched
    this.patterns = data.kinds.map((kind, i) => this.pattern(kind.colour, i));
    this.patterns.push(this.pattern(data.failureColour, data.kinds.length));
  }

  // Each kind has strokes of its own direction beside its colour.
  pattern(colour, index) {
    const strokes = [[], [0, 3, 6, 3], [3, 0, 3, 6], [0, 6, 6, 0], [0, 0, 6, 6], [0, 3, 6, 3, 3, 0, 3, 6],
      [0, 6, 6, 0, 0, 0, 6, 6]][index];
    const scale = 2, tile = document.createElement("canvas");
    tile.width = tile.height = 6 * scale;
    const pen = tile.getContext("2d");
    pen.scale(scale, scale);
    pen.fillStyle = colour;
    pen.fillRect(0, 0, 6, 6);
    pen.strokeStyle = "rgba(255, 255, 255, 0.55)";
    for (let i = 0; i < strokes.length; i += 4) {
      pen.beginPath();
      pen.moveTo(strokes[i], strokes[i + 1]);
      pen.lineTo(strokes[i + 2], strokes[i + 3]);
      pen.stroke();
    }
    const pattern = pen.createPattern(tile, "repeat");
    pattern.setTransform(new DOMMatrix().scale(1 / scale));
    return pattern;
  }

  style(call) {
    const function_ = this.data.calls.function[call];
    return this.data.calls.failed[call] ? this.data.kinds.length : this.data.functions[function_].kind;
  }

  // --- Places ---------------------------------------------------------------------------------------------------------

  place(shown, width) { return GUTTER + (shown - this.from) / (this.to - this.from) * (width - GUTTER - RIGHT); }
  timeAt(x, width) { return this.from + (x - GUTTER) / (width - GUTTER - RIGHT) * (this.to - this.from); }

  // The time since the first call of a place on the axis.
  realTime(shown) {
    let segment = this.data.segments[0];
    for (const next of this.data.segments) {
      if (next[0] > shown) break;
      segment = next;
    }
    return segment[1] + shown - segment[0];
  }

  zoomTo(from, to) {
    const least = 200, length = this.data.length;
    const span = Math.min(Math.max(to - from, least), length);
    this.from = Math.min(Math.max((from + to - span) / 2, 0), Math.max(length - span, 0));
    this.to = this.from + span;
  }

  // The first call of a lane that may be seen from `shown` on. Calls of a lane follow each other but for small overlaps.
  firstFrom(calls, shown) {
    const all = this.data.calls;
    let low = 0, high = calls.length;
    while (low < high) {
      const middle = (low + high) >> 1;
      if (all.shown[calls[middle]] + all.duration[calls[middle]] < shown) low = middle + 1; else high = middle;
    }
    return Math.max(0, low - 2);
  }

  rowAt(y) { return this.rows.find((row) => y >= row.y && y < row.y + row.height); }

  // The number of the call nearest to a point of the picture, within three pixels, failures first; -1 for no call.
  callAt(x, y, width) {
    const row = this.rowAt(y), all = this.data.calls;
    if (!row || row.type !== "calls" || x < GUTTER - 3) return -1;
    let best = -1, least = 4;
    const calls = row.lane.calls;
    for (let i = this.firstFrom(calls, this.timeAt(x - 8, width)); i < calls.length; ++i) {
      const from = this.place(all.shown[calls[i]], width);
      if (from > x + 4) break;
      const to = Math.max(this.place(all.shown[calls[i]] + all.duration[calls[i]], width), from + 1);
      const distance = (x < from ? from - x : x > to ? x - to : 0) - (all.failed[calls[i]] ? 1.5 : 0);
      if (distance < least) { least = distance; best = calls[i]; }
    }
    return best;
  }

  // --- Drawing --------------------------------------------------------------------------------------------------------

  // Draws the rows between `top` and `top + height` below the axis, into `width` pixels.
  draw(pen, width, height, top, rows) {
    pen.fillStyle = "#ffffff";
    pen.fillRect(0, 0, width, height + AXIS);
    const visible = (rows || this.rows).filter((row) => row.y + row.height > top && row.y < top + height);
    pen.save();
    pen.beginPath();
    pen.rect(0, AXIS, width, height);
    pen.clip();
    pen.translate(0, AXIS - top);
    this.drawGrid(pen, width, top, height);
    for (const row of visible) this.drawRow(pen, row, width);
    pen.restore();
    this.drawAxis(pen, width);
  }

  ticks(width) {
    const wanted = (this.to - this.from) * 90 / (width - GUTTER - RIGHT);
    const size = 10 ** Math.floor(Math.log10(wanted));
    const step = size * [1, 2, 5, 10].find((factor) => factor * size >= wanted);
    const ticks = [];
    let last = -Infinity;
    for (const [shown, begin, end] of this.data.segments) {
      // Counted from the beginning of the stretch: large times would lose their last digits.
      const first = (step - begin % step) % step, from = Math.max(this.from - shown, 0);
      const to = Math.min(end - begin, this.to - shown);
      for (let i = Math.max(Math.ceil((from - first) / step), 0); first + i * step <= to; ++i) {
        const x = this.place(shown + first + i * step, width);
        if (x - last >= 70) { ticks.push([x, begin + first + i * step]); last = x; }
      }
    }
    return ticks;
  }

  drawAxis(pen, width) {
    pen.fillStyle = "#f5f7fa";
    pen.fillRect(0, 0, width, AXIS - 2);
    pen.font = "11px system-ui, 'DejaVu Sans', Helvetica, Arial, sans-serif";
    pen.fillStyle = "#5b6775";
    pen.textBaseline = "middle";
    pen.textAlign = "left";
    pen.fillText("Time since the first call", 12, AXIS / 2 - 1);
    pen.textAlign = "center";
    const span = this.to - this.from;
    for (const [x, time] of this.ticks(width)) {
      if (x < GUTTER + 12 || x > width - 24) continue;
      pen.fillText(this.tickText(time, span), x, AXIS / 2 - 1);
    }
    pen.textAlign = "left";
  }

  // As many digits as the zoom shows apart.
  tickText(time, span) {
    const unit = time >= 1e9 ? [1e9, " s"] : time >= 1e6 ? [1e6, " ms"] : [1e3, " \u00b5s"];
    const digits = Math.min(Math.max(Math.ceil(Math.log10(unit[0] * 10 / span)), 0), 9);
    return time === 0 ? "0" : (time / unit[0]).toFixed(digits) + unit[1];
  }

  drawGrid(pen, width, top, height) {
    pen.lineWidth = 1;
    pen.strokeStyle = "#e6eaef";
    pen.beginPath();
    for (const [x] of this.ticks(width)) {
      pen.moveTo(Math.round(x) + 0.5, top);
      pen.lineTo(Math.round(x) + 0.5, top + height);
    }
    pen.stroke();
    pen.strokeStyle = "#9aa5b2";
    pen.setLineDash([3, 3]);
    pen.beginPath();
    let last = -Infinity;
    for (const [shown] of this.data.segments.slice(1)) {
      const x = Math.round(this.place(shown, width)) + 0.5;
      if (shown < this.from || shown > this.to || x - last < 2) continue;
      pen.moveTo(x, top);
      pen.lineTo(x, top + height);
      last = x;
    }
    pen.stroke();
    pen.setLineDash([]);
  }

  drawRow(pen, row, width) {
    pen.textBaseline = "middle";
    pen.font = (row.type === "thread" ? "bold " : "") + "11.5px system-ui, 'DejaVu Sans', Helvetica, Arial, sans-serif";
    pen.fillStyle = row.type === "thread" ? "#1d2733" : "#5b6775";
    if (row.type === "thread") {
      pen.fillText(row.name, 12, row.y + ROW / 2);
      pen.fillStyle = "#c9d1da";
      pen.fillRect(0, row.y - BREAK / 2, width, 1);
      return;
    }
    pen.fillText(row.name, 26, row.y + ROW / 2);
    pen.save();
    pen.beginPath();
    pen.rect(GUTTER - 2, row.y, width - GUTTER + 2, ROW);
    pen.clip();
    pen.font = "10.5px system-ui, 'DejaVu Sans', Helvetica, Arial, sans-serif";
    if (row.type === "spans") this.drawSpans(pen, row, width); else this.drawLane(pen, row, width);
    pen.restore();
  }

  drawSpans(pen, row, width) {
    row.spans.forEach((number, at) => {
      const span = this.data.spans[number];
      if (span.end < this.from || span.begin > this.to) return;
      const from = Math.max(this.place(span.begin, width), GUTTER - 2);
      const wide = Math.max(Math.min(this.place(span.end, width), width) - from, 2);
      pen.fillStyle = span.error ? "#fbe4e7" : "#e4ebf3";
      pen.strokeStyle = span.error ? this.data.failureColour : "#9fb0c3";
      pen.fillRect(from, row.y + 2, wide, BAR);
      pen.strokeRect(from + 0.5, row.y + 2.5, wide - 1, BAR - 1);
      pen.fillStyle = span.error ? this.data.failureColour : "#1d2733";
      this.spanLabel(pen, row, at, from, wide, width);
    });
  }

  // In the bar when the name fits; else behind it or before it, where no other bar is.
  spanLabel(pen, row, at, from, wide, width) {
    const span = this.data.spans[row.spans[at]];
    const name = span.name + (span.error ? ", ERROR " + span.error : ""), need = pen.measureText(name).width + 8;
    const next = row.spans[at + 1], before = row.spans[at - 1];
    const free = next === undefined ? width : Math.min(this.place(this.data.spans[next].begin, width), width);
    const left = before === undefined ? GUTTER : this.place(this.data.spans[before].end, width);
    if (need <= wide) pen.fillText(name, from + 4, row.y + 2 + BAR / 2);
    else if (need <= free - from - wide) pen.fillText(name, from + wide + 4, row.y + 2 + BAR / 2);
    else if (before === undefined && need <= from - left) pen.fillText(name, from - need + 4, row.y + 2 + BAR / 2);
    else this.label(pen, name, from + 4, row, wide - 8);
  }

  // Writes what fits; cut with an ellipsis from four characters on.
  label(pen, text, x, row, room) {
    if (room < 22) return 0;
    let shown = text;
    let wide = pen.measureText(shown).width;
    if (wide > room) {
      const count = Math.floor(text.length * room / wide) - 1;
      if (count < 4) return 0;
      shown = text.slice(0, count) + "\u2026";
      wide = pen.measureText(shown).width;
    }
    pen.fillText(shown, x, row.y + 2 + BAR / 2);
    return wide;
  }

  drawLane(pen, row, width) {
    for (const [, begin, end] of row.lane.sessions) {
      if (end < this.from || begin > this.to) continue;
      const from = this.place(begin, width);
      pen.fillStyle = "#eef2f6";
      pen.fillRect(from, row.y, Math.max(this.place(end, width) - from, 1), ROW - 2);
    }
    this.drawBars(pen, row, width);
  }

  // Calls of one look that share a pixel share a bar. Failures are drawn last, so that nothing hides them.
  drawBars(pen, row, width) {
    const all = this.data.calls, calls = row.lane.calls, failures = [];
    const taken = new Map(); // the half pixel that each look has filled last
    let open = null;
    const flush = () => { if (open) this.drawBar(pen, row, open); open = null; };
    for (let i = this.firstFrom(calls, this.from); i < calls.length; ++i) {
      const call = calls[i];
      if (all.shown[call] > this.to) break;
      const from = this.place(all.shown[call], width);
      const to = Math.max(this.place(all.shown[call] + all.duration[call], width), from + 0.7);
      const style = this.style(call), isFaint = this.matches !== null && !this.matches.has(call);
      if (all.failed[call]) failures.push({ from, to: Math.max(to, from + 2.5), style, isFaint, call, count: 1 });
      else if (to - from < 1 && taken.get(style * 2 + isFaint) === Math.floor(from * 2)) continue;
      else if (open && open.style === style && open.isFaint === isFaint && from <= open.to + 0.3) {
        open.to = Math.max(open.to, to);
        ++open.count;
      } else {
        flush();
        taken.set(style * 2 + isFaint, Math.floor(from * 2));
        open = { from, to, style, isFaint, call, count: 1 };
      }
    }
    flush();
    this.drawFailures(pen, row, failures, width);
    this.drawSelection(pen, row, width);
  }

  drawBar(pen, row, bar) {
    pen.globalAlpha = bar.isFaint ? 0.15 : 1;
    pen.fillStyle = this.patterns[bar.style];
    const from = Math.max(bar.from, GUTTER - 2), to = Math.min(bar.to, 20000);
    pen.fillRect(from, row.y + 2, to - from, BAR);
    if (bar.count === 1 && to - from > 46) {
      const name = this.data.functions[this.data.calls.function[bar.call]].name;
      const room = Math.min(pen.measureText(name).width + 8, to - from - 6);
      pen.fillStyle = "rgba(255, 255, 255, 0.88)";
      pen.fillRect(from + 3, row.y + 3, room, BAR - 2);
      pen.fillStyle = "#1d2733";
      this.label(pen, name, from + 7, row, room - 4);
    }
    pen.globalAlpha = 1;
  }

  // Failures that programs expect are half as high and below the others, so that they do not hide the rest.
  drawFailures(pen, row, failures, width) {
    const isExpected = (bar) => this.data.calls.failed[bar.call] === 2;
    const groups = [failures.filter(isExpected), failures.filter((bar) => !isExpected(bar))];
    groups.forEach((bars, isWhole) => {
      let drawn = -Infinity;
      for (const bar of bars) {
        if (bar.from < drawn + 0.5) continue;
        pen.globalAlpha = bar.isFaint ? 0.15 : 1;
        pen.fillStyle = this.patterns[bar.style];
        pen.fillRect(bar.from, row.y + (isWhole ? 1 : 2 + BAR / 2), bar.to - bar.from, isWhole ? BAR + 2 : BAR / 2);
        drawn = bar.from;
      }
    });
    pen.globalAlpha = 1;
    // Near enough to tell them apart, the expected ones are named, too.
    const isNear = this.to - this.from < 4e7;
    this.nameFailures(pen, row, isNear ? groups[1].concat(groups[0]) : groups[1], width);
  }

  // The result behind its bar, or before it at the right edge, where no other name stands.
  nameFailures(pen, row, bars, width) {
    const taken = [];
    let last = -Infinity;
    for (const bar of bars) {
      if (bar.isFaint || Math.abs(bar.to - last) < 6) continue;
      last = bar.to;
      const name = this.data.results[this.data.calls.result[bar.call]], wide = pen.measureText(name).width;
      const from = bar.to + wide + 8 < width ? bar.to + 3 : bar.from - wide - 5;
      if (taken.some(([begin, end]) => from < end && from + wide > begin)) continue;
      taken.push([from - 4, from + wide + 8]);
      pen.fillStyle = "rgba(255, 255, 255, 0.9)";
      pen.fillRect(from - 1, row.y + 3, wide + 4, BAR - 2);
      pen.fillStyle = this.data.failureColour;
      pen.fillText(name, from + 1, row.y + 2 + BAR / 2);
    }
  }

  drawSelection(pen, row, width) {
    const all = this.data.calls, call = this.selected;
    if (call < 0 || !row.lane.calls.includes(call)) return;
    const from = this.place(all.shown[call], width);
    const to = Math.max(this.place(all.shown[call] + all.duration[call], width), from + 2.5);
    pen.strokeStyle = "#000000";
    pen.lineWidth = 2;
    pen.strokeRect(from - 2, row.y + 1, to - from + 4, BAR + 2);
    pen.lineWidth = 1;
  }
}
