
'use strict';
// The page of a trace. It shows `trace`, which never changes, and `state`. Code that changes the state then calls the
// functions that show the changed part.
//
// The time line is the trace's time with long pauses cut short: a touch is `when` milliseconds after the first one.

const LONGEST_PAUSE = 2000, UNTIMED_PAUSE = 300;  // milliseconds between two touches
const MANY = 300;       // touches on a layout; where there are more, they are dots
const PER_PAGE = 100;   // inputs in the list
const MAX_ROWS = 200;   // of the table
const NEAR = 12;        // pixels from the pointer to a touch
const RAMPS = {
  light: {time: ['#1d4ed8', '#6d3ad6', '#b12db0', '#dc3366', '#ea7a15'],
          middle: ['#0f9d8a', '#7fae2e', '#e0a100', '#dd6b20', '#b91c3c']},
  dark: {time: ['#6ea8ff', '#a58bff', '#e27ce0', '#ff7d98', '#ffb454'],
         middle: ['#3fd0bd', '#a6d65a', '#f5cf4a', '#ff9f5a', '#ff6f86']},
};

const $ = (id) => document.getElementById(id);
const root = document.documentElement;
const calm = matchMedia('(prefers-reduced-motion: reduce)');
const dark = matchMedia('(prefers-color-scheme: dark)');

// ---- The trace

const trace = JSON.parse($('trace').textContent);
const layouts = trace.layouts.map(({heading, rect, touches, keys}) => ({
  heading, rect, count: touches, touches: [],
  keys: keys.map(([left, top, right, bottom, label, hit, meant]) =>
      ({rect: [left, top, right, bottom], label, hit, meant})),
}));
const inputs = trace.inputs.map(([number, text, code, layout, count, length]) =>
    ({number, text, code, layout, count, length}));
const touches = readTouches();
const total = touches.length === 0 ? 0 : touches[touches.length - 1].when;

// All touches in the order of the trace. Each is also listed in its layout. An input has the index of its first touch
// and that of the one after its last.
function readTouches() {
  const all = [];
  let when = 0, before = null;
  trace.inputs.forEach((input, index) => {
    const flat = input[6], layout = layouts[input[3]];
    inputs[index].first = all.length;
    for (let i = 0; i < flat.length; i += 5) {
      const [x, y, time, hit, meant] = flat.slice(i, i + 5);
      if (all.length > 0) when += pauseBetween(before, time);
      before = time;
      const middle = fromMiddle(layout.keys[meant >= 0 ? meant : hit], x, y);
      const touch = {x, y, time, when, hit, meant, input: index, middle};
      all.push(touch);
      layout.touches.push(touch);
    }
    inputs[index].end = all.length;
  });
  return all;
}

function pauseBetween(before, time) {
  if (before === null || time === null) return UNTIMED_PAUSE;
  return Math.min(Math.max(time - before, 0), LONGEST_PAUSE);
}

// 0 in the middle of the key, 1 on its edge; null without a key.
function fromMiddle(key, x, y) {
  if (key === undefined) return null;
  const [left, top, right, bottom] = key.rect;
  const along = (at, from, to) => (to > from ? Math.abs(at - (from + to) / 2) / ((to - from) / 2) : 0);
  return Math.max(along(x, left, right), along(y, top, bottom));
}

// The number of touches with `when` <= `at` in a list that is sorted by time.
function countUpTo(list, at) {
  let low = 0, high = list.length;
  while (low < high) {
    const middle = (low + high) >> 1;
    if (list[middle].when <= at) low = middle + 1; else high = middle;
  }
  return low;
}

// ---- The state

const state = {
  at: total,         // on the time line, in milliseconds
  chosen: -1,        // index of the chosen input; -1 for none
  layout: 0,         // the one that is shown
  colour: 'time',
  playing: false,
  found: inputs.map((_, index) => index),  // indices of the inputs in the list
  page: 0,
};

// The input that is shown: the chosen one, else, before the end of the time line, that of the last touch; -1 for none.
function currentInput() {
  if (state.chosen >= 0 || touches.length === 0) return state.chosen;
  if (state.at >= total && !state.playing) return -1;
  return touches[Math.max(countUpTo(touches, state.at), 1) - 1].input;
}

function seek(at) {
  state.at = Math.min(Math.max(at, 0), total);
  const last = touches[Math.max(countUpTo(touches, state.at), 1) - 1];
  if (last !== undefined) setLayout(inputs[last.input].layout);
  showPosition();
}

function choose(index) {
  pause();
  state.chosen = index;
  const input = inputs[index];
  if (input.end > input.first) seek(touches[input.end - 1].when); else showPosition();
  const place = state.found.indexOf(index);
  if (place >= 0) state.page = Math.floor(place / PER_PAGE);
  showList();
  say(`Input ${input.number}, ${nameOf(input)}: ${touchesText(input.count)} in ${seconds(input.length)}`);
}

function unchoose() {
  state.chosen = -1;
  seek(total);
  showList();
  say('All touches are shown');
}

// ---- Words

const seconds = (ms) => (ms / 1000).toFixed(2) + ' s';
// "1:02:03.45".
function clockText(ms) {
  const [hours, minutes] = [Math.floor(ms / 3600000), Math.floor(ms / 60000) % 60];
  const rest = (Math.floor(ms / 10) % 6000 / 100).toFixed(2).padStart(5, '0');
  return hours > 0 ? `${hours}:${String(minutes).padStart(2, '0')}:${rest}` : `${minutes}:${rest}`;
}
const many = (count, one, more) => `${count.toLocaleString('en')} ${count === 1 ? one : more}`;
const touchesText = (count) => many(count, 'touch', 'touches');
const labelOf = (layout, key) => (key >= 0 ? layout.keys[key].label : '');
const nameOf = (input) => input.text || 'without a text';
const distance = (middle) => (middle === null ? '' : middle.toFixed(2));

function say(text) { $('status').textContent = text; }

function touchWords(touch) {
  const input = inputs[touch.input], layout = layouts[input.layout];
  const hit = touch.hit >= 0 ? 'hit ' + labelOf(layout, touch.hit) : 'hit no key';
  const asMeant = touch.meant === touch.hit ? ', as meant' : ', meant ' + labelOf(layout, touch.meant);
  const time = touch.time === null ? '' : ', after ' + seconds(touch.time);
  return `Input ${input.number}, ${nameOf(input)}: ${hit}${touch.meant < 0 ? '' : asMeant}, ` +
      `at ${touch.x}, ${touch.y}${time}`;
}

// ---- Colours

const ramp = (colour) => RAMPS[root.dataset.theme][colour];

// The colours of the style sheet that canvases use, in the current theme.
const palette = {};
function readPalette() {
  const style = getComputedStyle(root);
  for (const name of ['ink', 'pad', 'key', 'edge', 'label', 'number', 'untimed']) {
    palette[name] = style.getPropertyValue('--' + name).trim();
  }
  for (const colour of ['time', 'middle']) steps[colour] = stepsOf(ramp(colour));
}

// The ramps of the theme as STEPS colours for the values 0 to 1.
const STEPS = 64;
const stepAt = (value) => Math.round(value * (STEPS - 1));
const steps = {};

function stepsOf(ramp) {
  const channel = (colour, c) => parseInt(colour.slice(1 + 2 * c, 3 + 2 * c), 16);
  return Array.from({length: STEPS}, (_, i) => {
    const at = i / (STEPS - 1) * (ramp.length - 1), stop = Math.min(Math.floor(at), ramp.length - 2);
    const mix = (c) => Math.round(channel(ramp[stop], c) * (stop + 1 - at) + channel(ramp[stop + 1], c) * (at - stop));
    return `rgb(${mix(0)} ${mix(1)} ${mix(2)})`;
  });
}

function touchColour(touch) {
  if (state.colour === 'time') return steps.time[stepAt(total === 0 ? 0 : touch.when / total)];
  return touch.middle === null ? palette.untimed : steps.middle[stepAt(Math.min(touch.middle, 2) / 2)];
}

// ---- The pad: ground (keys) and dots (touches) are layers that are reused while only the time moves

const fonts = getComputedStyle(document.body).fontFamily;
const pad = $('pad'), context = pad.getContext('2d');
const layers = {ground: document.createElement('canvas'), dots: document.createElement('canvas')};
const drawn = {ground: '', dots: '', count: 0};

// The part of the screen that is shown of a layout: left, top, width, height.
function boxOf(layout) {
  if (layout.box) return layout.box;
  let rects = [layout.rect, ...layout.keys.map((key) => key.rect)].filter(([l, t, r, b]) => l < r && t < b);
  if (rects.length === 0) rects = layout.touches.map(({x, y}) => [x, y, x, y]);
  let [left, top, right, bottom] = rects[0] ?? layout.rect;
  for (const [l, t, r, b] of rects) {
    left = Math.min(left, l), top = Math.min(top, t), right = Math.max(right, r), bottom = Math.max(bottom, b);
  }
  const gap = Math.max((right - left) / 40, (bottom - top) / 40, 1);
  layout.box = {left: left - gap, top: top - gap, width: right - left + 2 * gap, height: bottom - top + 2 * gap};
  return layout.box;
}

// Sizes the canvases for the layout. `scale` is canvas pixels per pixel of the screen, `unit` per pixel of the page.
function viewOf(layout) {
  const box = boxOf(layout), unit = devicePixelRatio || 1;
  const width = $('frame').clientWidth, most = Math.max(innerHeight * 0.58, 240);
  const scale = Math.min(width / box.width, most / box.height) * unit;
  const size = [Math.round(width * unit), Math.round(box.height * scale)];
  for (const canvas of [pad, layers.ground, layers.dots]) {
    if (canvas.width !== size[0] || canvas.height !== size[1]) {
      [canvas.width, canvas.height] = size;
      drawn.ground = drawn.dots = '';
    }
  }
  const left = (size[0] - box.width * scale) / 2;
  return {unit, scale, x: (x) => left + (x - box.left) * scale, y: (y) => (y - box.top) * scale};
}

function drawPad() {
  if (layouts.length === 0) return;
  const layout = layouts[state.layout], view = viewOf(layout);
  const kind = `${state.layout} ${root.dataset.theme}`;
  if (drawn.ground !== kind) drawGround(layout, view);
  drawn.ground = kind;
  drawDots(layout, view, `${kind} ${state.colour}`);
  context.clearRect(0, 0, pad.width, pad.height);
  context.drawImage(layers.ground, 0, 0);
  context.globalAlpha = state.chosen >= 0 ? 0.15 : 1;
  context.drawImage(layers.dots, 0, 0);
  context.globalAlpha = 1;
  drawLabels(layout, view);
  drawInput(layout, view);
}

function drawGround(layout, view) {
  const to = layers.ground.getContext('2d');
  to.clearRect(0, 0, pad.width, pad.height);
  const place = ([l, t, r, b]) => [view.x(l), view.y(t), (r - l) * view.scale, (b - t) * view.scale];
  to.fillStyle = palette.pad;
  to.fillRect(...place(layout.rect));
  to.lineWidth = view.unit;
  to.strokeStyle = palette.edge;
  for (const key of layout.keys) {
    const [x, y, width, height] = place(key.rect);
    if (width <= 0 || height <= 0) continue;
    to.fillStyle = palette.key;
    to.beginPath();
    to.roundRect(x, y, width, height, Math.min(0.08 * Math.min(width, height), 8 * view.unit));
    to.fill();
    to.stroke();
  }
}

// Labels lie above the dots, with an outline in the colour of the keys so that they can be read on many dots.
function drawLabels(layout, view) {
  context.textAlign = 'center';
  context.lineJoin = 'round';
  for (const {rect: [left, top, right, bottom], label} of layout.keys) {
    const width = (right - left) * view.scale, height = (bottom - top) * view.scale;
    if (width <= 0 || height <= 0) continue;
    const isNumber = label.length > 1 && label.startsWith('#');
    const size = Math.min(0.26 * height, 0.46 * width) / (isNumber ? 2 : 1);
    context.font = `${size}px ${fonts}`;
    context.lineWidth = size / 6;
    context.strokeStyle = palette.key;
    context.strokeText(label, view.x(left) + width / 2, view.y(top) + 0.3 * height);
    context.fillStyle = palette.label;
    context.fillText(label, view.x(left) + width / 2, view.y(top) + 0.3 * height);
  }
}

// Adds new dots; draws all again when some disappear or change.
function drawDots(layout, view, kind) {
  const to = layers.dots.getContext('2d'), count = countUpTo(layout.touches, state.at);
  if (drawn.dots !== kind || drawn.count > count) {
    to.clearRect(0, 0, pad.width, pad.height);
    drawn.dots = kind, drawn.count = 0;
  }
  const few = layout.touches.length <= MANY;
  to.globalAlpha = few ? 0.9 : 0.5;
  for (; drawn.count < count; ++drawn.count) {
    const touch = layout.touches[drawn.count];
    if (few) {
      drawTouch(to, view, touch, 6);
    } else {
      const size = 3 * view.unit;
      to.fillStyle = touchColour(touch);
      to.fillRect(view.x(touch.x) - size / 2, view.y(touch.y) - size / 2, size, size);
    }
  }
}

function drawTouch(to, view, touch, radius) {
  to.beginPath();
  to.arc(view.x(touch.x), view.y(touch.y), radius * view.unit, 0, 2 * Math.PI);
  to.fillStyle = touchColour(touch);
  to.fill();
  to.lineWidth = 1.2 * view.unit;
  to.strokeStyle = palette.key;
  to.stroke();
}

// The touches of the current input up to the position on the time line, joined and numbered.
function drawInput(layout, view) {
  const index = currentInput();
  if (index < 0 || layouts[inputs[index].layout] !== layout) return;
  const {first, end} = inputs[index];
  const shown = touches.slice(first, Math.min(end, countUpTo(touches, state.at)));
  context.beginPath();
  for (const touch of shown) context.lineTo(view.x(touch.x), view.y(touch.y));
  context.strokeStyle = palette.ink;
  context.globalAlpha = 0.45;
  context.lineWidth = 2 * view.unit;
  context.stroke();
  context.globalAlpha = 1;
  context.font = `600 ${11 * view.unit}px ${fonts}`;
  context.textAlign = 'center';
  shown.forEach((touch, i) => {
    drawTouch(context, view, touch, 10);
    context.fillStyle = palette.number;
    context.fillText(String(i + 1), view.x(touch.x), view.y(touch.y) + 4 * view.unit);
  });
}

// The touch under the pointer, if one is drawn there, and what to say of it, or else of the key there.
function underPointer(event) {
  const layout = layouts[state.layout], view = viewOf(layout);
  const x = event.offsetX * view.unit, y = event.offsetY * view.unit;
  let best = null, least = NEAR * view.unit;
  for (let i = countUpTo(layout.touches, state.at) - 1; i >= 0; --i) {
    const touch = layout.touches[i], far = Math.hypot(view.x(touch.x) - x, view.y(touch.y) - y);
    if (far < least && (state.chosen < 0 || touch.input === state.chosen)) best = touch, least = far;
  }
  if (best !== null) return {touch: best, words: touchWords(best)};
  const holds = ([l, t, r, b]) => x >= view.x(l) && x < view.x(r) && y >= view.y(t) && y < view.y(b);
  const key = layout.keys.find(({rect}) => holds(rect));
  if (key === undefined) return {touch: null, words: ''};
  return {touch: null, words: `Key ${key.label}: hit by ${touchesText(key.hit)}, meant by ${key.meant}`};
}

function showTip(event) {
  const {words} = underPointer(event), tip = $('tip'), frame = $('frame');
  tip.hidden = words === '';
  if (tip.hidden) return;
  tip.textContent = words;
  tip.style.left = Math.max(0, Math.min(event.offsetX + 14, frame.clientWidth - tip.offsetWidth)) + 'px';
  tip.style.top = Math.max(0, Math.min(event.offsetY + 14, frame.clientHeight - tip.offsetHeight)) + 'px';
}

// ---- Everything else that is shown

function setLayout(index) {
  state.layout = index;
  $('layout').value = String(index);
}

function showPosition() {
  const count = countUpTo(touches, state.at), last = touches[count - 1], layout = layouts[state.layout];
  $('heading').textContent = layout.heading;
  const onLayout = countUpTo(layout.touches, state.at);
  $('caption').textContent = `${many(layout.keys.length, 'key', 'keys')}, ${onLayout.toLocaleString('en')} of ` +
      `${touchesText(layout.touches.length)} on this layout`;
  const clock = `${clockText(state.at)} of ${clockText(total)}`;
  $('clock').textContent = clock;
  $('position').value = state.at;
  const words = last === undefined ? '' : '. ' + touchWords(last);
  $('position').setAttribute('aria-valuetext', `${clock}, touch ${count} of ${touches.length}${words}`);
  drawPad();
  showInput();
}

// Updates the table and the mark in the list, but only when the current input has changed.
let shownInput = null;
function showInput() {
  const index = currentInput();
  if (index === shownInput) return;
  shownInput = index;
  showInList(index);
  $('all').hidden = index < 0;
  document.querySelector('#details table').hidden = index < 0;
  if (index < 0) {
    $('details-heading').textContent = 'Touches';
    $('more').textContent = 'Choose an input to see its touches.';
    $('rows').replaceChildren();
    return;
  }
  const input = inputs[index], layout = layouts[input.layout], own = touches.slice(input.first, input.end);
  const name = chinese(element('span', '', nameOf(input)));
  $('details-heading').replaceChildren(`Touches of input ${input.number}: `, name);
  $('rows').replaceChildren(...own.slice(0, MAX_ROWS).map((touch, i) => {
    const row = document.createElement('tr');
    const cells = [i + 1, labelOf(layout, touch.meant), labelOf(layout, touch.hit) || 'none', distance(touch.middle),
                   touch.time === null ? '' : seconds(touch.time), `${touch.x}, ${touch.y}`];
    row.append(...cells.map((text) => element('td', '', text)));
    if (touch.meant >= 0 && touch.meant !== touch.hit) row.cells[2].className = 'wrong';
    return row;
  }));
  const hidden = input.count - Math.min(own.length, MAX_ROWS);
  $('more').textContent = hidden > 0 ? `${touchesText(hidden)} more are not in this table.` : '';
}

// Marks an element as Chinese, for the choice of fonts and for screen readers.
function chinese(made) {
  made.lang = 'zh-Hans';
  return made;
}

// Turns the list to the page that has the input, if any, and marks it.
function showInList(index) {
  const place = state.found.indexOf(index), page = Math.floor(place / PER_PAGE);
  if (place >= 0 && page !== state.page) {
    state.page = page;
    showList();
  }
  for (const option of $('list').children) option.classList.toggle('current', Number(option.dataset.index) === index);
  reveal($('list').querySelector('.current'));
}

// Scrolls the list, and not the page, until the option is visible. It may be null.
function reveal(option) {
  const list = $('list');
  if (option === null) return;
  const top = option.offsetTop - list.offsetTop;
  list.scrollTop = Math.min(top, Math.max(list.scrollTop, top + option.offsetHeight - list.clientHeight));
}

function element(name, className, text) {
  const made = document.createElement(name);
  made.className = className;
  made.textContent = text;
  return made;
}

function showList() {
  const list = $('list'), from = state.page * PER_PAGE, here = state.found.slice(from, from + PER_PAGE);
  list.replaceChildren(...here.map((index, i) => optionOf(index, from + i)));
  const chosen = list.querySelector('[aria-selected="true"]');
  if (chosen) {
    list.setAttribute('aria-activedescendant', chosen.id);
    reveal(chosen);
  } else {
    list.removeAttribute('aria-activedescendant');
  }
  const all = state.found.length.toLocaleString('en');
  $('range').textContent = here.length === 0 ? 'none' : `${from + 1} to ${from + here.length} of ${all}`;
  $('previous').disabled = from === 0;
  $('next').disabled = from + PER_PAGE >= state.found.length;
}

function optionOf(index, place) {
  const input = inputs[index], option = element('li', index === shownInput ? 'current' : '', '');
  option.id = 'input-' + index;
  option.dataset.index = index;
  option.setAttribute('role', 'option');
  option.setAttribute('aria-selected', String(index === state.chosen));
  option.setAttribute('aria-setsize', String(state.found.length));
  option.setAttribute('aria-posinset', String(place + 1));
  option.append(element('span', 'number', input.number), chinese(element('span', 'text', input.text)),
                element('span', 'code', input.code),
                element('span', 'count', `${touchesText(input.count)}, ${seconds(input.length)}`));
  return option;
}

function find(text) {
  const holds = (index) => inputs[index].text.includes(text) || inputs[index].code.includes(text);
  state.found = inputs.map((_, index) => index).filter(holds);
  state.page = 0;
  showList();
  say(many(state.found.length, 'input', 'inputs') + ' found');
}

// The number of touches along the time line, as bars.
function drawStrip() {
  const strip = $('strip'), to = strip.getContext('2d'), unit = devicePixelRatio || 1;
  strip.width = Math.round(strip.clientWidth * unit), strip.height = Math.round(strip.clientHeight * unit);
  const bars = new Array(Math.max(1, Math.floor(strip.clientWidth / 3))).fill(0);
  const barOf = (when) => Math.min(bars.length - 1, Math.floor(total === 0 ? 0 : when / total * bars.length));
  for (const touch of touches) ++bars[barOf(touch.when)];
  const most = Math.max(...bars, 1), width = strip.width / bars.length;
  bars.forEach((count, i) => {
    const height = strip.height * count / most;
    to.fillStyle = steps.time[stepAt(i / Math.max(1, bars.length - 1))];
    to.fillRect(i * width, strip.height - height, width * 0.8, height);
  });
}

function showLegend() {
  const [from, to] = state.colour === 'time' ? ['first touch', 'last'] : ['middle of the key', 'a key away'];
  $('from').textContent = from;
  $('to').textContent = to;
  $('ramp').style.background = `linear-gradient(to right, ${ramp(state.colour).join(', ')})`;
}

function setTheme(name) {
  root.dataset.theme = name;
  $('theme').setAttribute('aria-pressed', String(name === 'dark'));
  readPalette();
  showLegend();
  drawPad();
  drawStrip();
}

function showTotals() {
  const {inputs: all, touches: touched, length} = trace.totals, {leftOut} = trace;
  const inAll = `${touchesText(touched)} in ${many(all, 'input', 'inputs')}`;
  const parts = [`${inAll}, ${many(layouts.length, 'layout', 'layouts')}`];
  if (length > 0) parts.push(seconds(length) + ' from the first to the last');
  if (trace.step > 1) parts.push(`shown is one in ${trace.step} inputs`);
  for (const what of ['layouts', 'keys', 'touches']) {
    if (leftOut[what] > 0) parts.push(`left out: ${leftOut[what].toLocaleString('en')} ${what}`);
  }
  $('totals').textContent = parts.join('; ');
}

// ---- Playing

let lastFrame = 0;

function play() {
  const start = state.chosen >= 0 ? touches[inputs[state.chosen].first] : undefined;
  const at = start ? start.when : state.at >= total ? 0 : state.at;
  if (state.chosen >= 0) {
    state.chosen = -1;
    showList();
  }
  state.playing = true;
  $('play').textContent = 'Pause';
  lastFrame = performance.now();
  seek(at);
  requestAnimationFrame(frame);
}

function pause() {
  state.playing = false;
  $('play').textContent = 'Play';
}

// Where reduced motion is preferred, two frames a second are drawn.
function frame(now) {
  if (!state.playing) return;
  if (!calm.matches || now - lastFrame >= 500) {
    const at = state.at + Math.max(now - lastFrame, 0) * Number($('speed').value);
    lastFrame = now;
    if (at >= total) pause();
    seek(at);
  }
  requestAnimationFrame(frame);
}

// ---- What a person does

function move(at) {
  pause();
  if (state.chosen >= 0) {
    state.chosen = -1;
    showList();
  }
  seek(at);
}

function keyOnTimeLine(event) {
  const at = countUpTo(touches, state.at) - 1, input = touches[at] && inputs[touches[at].input];
  const targets = {
    ArrowRight: at + 1, ArrowUp: at + 1, ArrowLeft: at - 1, ArrowDown: at - 1,
    PageUp: input && input.end, PageDown: input && input.first - 1,
  };
  if (!(event.key in targets) || touches.length === 0) return;
  event.preventDefault();
  move(touches[Math.min(Math.max(targets[event.key], 0), touches.length - 1)].when);
}

function keyOnList(event) {
  const at = state.found.indexOf(state.chosen), last = state.found.length - 1;
  const targets = {ArrowDown: at + 1, ArrowUp: at - 1, Home: 0, End: last, PageDown: at + 10, PageUp: at - 10};
  if (event.key === 'Escape' && state.chosen >= 0) return unchoose();
  if (!(event.key in targets) || last < 0) return;
  event.preventDefault();
  choose(state.found[Math.min(Math.max(targets[event.key], 0), last)]);
}

function turnPage(by) {
  state.page += by;
  showList();
  $('list').scrollTop = 0;
}

function listen() {
  const on = (id, type, act) => $(id).addEventListener(type, act);
  on('play', 'click', () => (state.playing ? (pause(), showPosition()) : play()));
  on('position', 'input', () => move(Number($('position').value)));
  on('position', 'keydown', keyOnTimeLine);
  on('layout', 'change', () => { setLayout(Number($('layout').value)); showPosition(); });
  on('colour', 'change', () => { state.colour = $('colour').value; showLegend(); drawPad(); });
  on('theme', 'click', () => setTheme(root.dataset.theme === 'dark' ? 'light' : 'dark'));
  on('find', 'input', () => find($('find').value));
  on('previous', 'click', () => turnPage(-1));
  on('next', 'click', () => turnPage(1));
  on('all', 'click', unchoose);
  on('list', 'keydown', keyOnList);
  on('list', 'click', (event) => {
    const option = event.target.closest('li');
    if (option) choose(Number(option.dataset.index));
  });
  on('pad', 'pointermove', showTip);
  on('pad', 'pointerleave', () => { $('tip').hidden = true; });
  on('pad', 'click', (event) => {
    const {touch} = underPointer(event);
    if (touch) choose(touch.input);
  });
  dark.addEventListener('change', () => setTheme(dark.matches ? 'dark' : 'light'));
  new ResizeObserver(() => { drawPad(); drawStrip(); }).observe($('frame'));
}

function start() {
  layouts.forEach(({heading, count}, index) => {
    $('layout').add(new Option(`${heading} (${touchesText(count)})`, String(index)));
  });
  $('position').max = total;
  $('position').disabled = $('play').disabled = touches.length === 0;
  showTotals();
  listen();
  setLayout(touches.length === 0 ? 0 : inputs[touches[0].input].layout);
  setTheme(dark.matches ? 'dark' : 'light');
  showPosition();
  showList();
}

start();
