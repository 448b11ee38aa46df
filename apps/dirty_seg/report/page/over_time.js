'use strict';
// What was found over the frames of a video or camera, by label: a chart below the open picture,
// which goes to the frame that is pointed at.

const kMostBars = 600;  // a screen shows no more apart

/// The frames of each input that has several, in their order, by source.
function findContinuous() {
  const inputs = new Map();
  frames.forEach((frame, index) => {
    if (!inputs.has(frame.source)) inputs.set(frame.source, []);
    inputs.get(frame.source).push(index);
  });
  for (const [source, indices] of inputs) {
    if (indices.every((index) => frames[index].frame === frames[indices[0]].frame)) {
      inputs.delete(source);
    } else {
      indices.sort((a, b) => frames[a].frame - frames[b].frame);
    }
  }
  return inputs;
}

const overTime = {inputs: findContinuous(), source: null, pointedAt: null};

/// Of the input that the open frame is of; empty for a picture.
const overTimeIndices = () => overTime.inputs.get(overTime.source) || [];

function shownByLabel(frame) {
  const counts = new Map();
  for (const detection of shownDetections(frame)) {
    const id = frame.labels[detection];
    counts.set(id, (counts.get(id) || 0) + 1);
  }
  return counts;
}

/// A frame a bar, or of more frames than that the one in which most is shown.
function barsOf(indices) {
  const count = Math.min(indices.length, kMostBars);
  const first = (bar) => Math.floor(bar * indices.length / count);
  const height = (index) => shownDetections(frames[index]).length;
  return Array.from({length: count}, (_, bar) => {
    const some = indices.slice(first(bar), first(bar + 1));
    const most = some.reduce((best, index) => height(index) > height(best) ? index : best);
    return {
      counts: shownByLabel(frames[most]), height: height(most),
      hasFailed: some.some((index) => !frames[index].ok),
    };
  });
}

/// The bars' parts of each label, one on the other, as the paths of an area as wide as there are
/// bars and `most` high.
function barPaths(bars, most) {
  const paths = new Map();
  bars.forEach(({counts}, bar) => {
    let top = most;
    for (const id of labelIds) {
      const count = counts.get(id) || 0;
      if (count === 0) continue;
      paths.set(id, `${paths.get(id) || ''}M${bar} ${top}v${-count}h1v${count}z`);
      top -= count;
    }
  });
  return paths;
}

function drawOverTime() {
  const indices = overTimeIndices();
  if (!viewer.open || indices.length === 0) return;
  const bars = barsOf(indices);
  const most = Math.max(1, ...bars.map((bar) => bar.height));
  const failed = bars.map(({hasFailed}, bar) => hasFailed ? `M${bar} 0v${most}h1v${-most}z` : '');
  const svg = makeSvg('svg', {
    viewBox: `0 0 ${bars.length} ${most}`, preserveAspectRatio: 'none', 'aria-hidden': 'true',
  }, makeSvg('path', {d: failed.join(''), class: 'failed'}),
  ...[...barPaths(bars, most)].map(([id, d]) =>
    makeSvg('path', {d, fill: labelOf(id).colour, 'data-label': id})));
  byId('over-time-bars').replaceChildren(svg);
  byId('over-time-most').textContent = `${plural(most, findingWord)} at most`;
  tellOverTime();
}

function frameReading(index) {
  const frame = frames[index];
  if (!frame.ok) return `Frame ${frame.frame} failed`;
  const counts = [...shownByLabel(frame)].sort(([a], [b]) => a - b)
    .map(([id, count]) => `${labelOf(id).name} ${count}`);
  const all = plural(shownDetections(frame).length, findingWord);
  return `Frame ${frame.frame}: ${all}${counts.length > 0 ? ` (${counts.join(', ')})` : ''}`;
}

/// Marks the open frame, and tells of it or of the one that is pointed at.
function tellOverTime() {
  const indices = overTimeIndices();
  const position = indices.indexOf(view.index);
  const chart = byId('over-time-chart');
  byId('over-time-here').style.left = `${100 * (position + 0.5) / indices.length}%`;
  chart.setAttribute('aria-valuemax', indices.length);
  chart.setAttribute('aria-valuenow', position + 1);
  chart.setAttribute('aria-valuetext', frameReading(view.index));
  byId('over-time-reading').textContent = frameReading(overTime.pointedAt ?? view.index);
}

/// Shows the chart of the frame's input; none for a picture.
function followOverTime(frame) {
  const isNew = frame.source !== overTime.source;
  overTime.source = frame.source;
  const isContinuous = overTime.inputs.has(frame.source);
  byId('over-time').hidden = !isContinuous;
  if (!isContinuous) return;
  byId('over-time-chart').setAttribute('aria-label',
    `Frame of ${frame.source.split('/').pop()}, by what is shown in it`);
  if (isNew) drawOverTime();
  else tellOverTime();
}

function overTimeIndexAt(event) {
  const indices = overTimeIndices();
  const place = byId('over-time-chart').getBoundingClientRect();
  const share = (event.clientX - place.left) / Math.max(1, place.width);
  return indices[Math.max(0, Math.min(indices.length - 1, Math.floor(share * indices.length)))];
}

function stepOverTime(step) {
  const indices = overTimeIndices();
  const to = indices.indexOf(view.index) + step;
  moveTo(indices[Math.max(0, Math.min(indices.length - 1, to))]);
}

const overTimePage = () => Math.max(1, Math.round(overTimeIndices().length / 10));

const kOverTimeKeys = {
  ArrowLeft: () => stepOverTime(-1),
  ArrowRight: () => stepOverTime(1),
  ArrowDown: () => stepOverTime(-1),
  ArrowUp: () => stepOverTime(1),
  PageDown: () => stepOverTime(-overTimePage()),
  PageUp: () => stepOverTime(overTimePage()),
  Home: () => stepOverTime(-Infinity),
  End: () => stepOverTime(Infinity),
};

function onOverTimeKey(event) {
  const action = kOverTimeKeys[event.key];
  if (!action || event.ctrlKey || event.altKey || event.metaKey) return;
  action();
  event.preventDefault();
  event.stopPropagation();  // the viewer's own keys
}

/// A press goes to the frame under the pointer, and so does every move until it ends.
function setUpOverTime() {
  const chart = byId('over-time-chart');
  let isHeld = false;
  chart.addEventListener('pointerdown', (event) => {
    if (event.button !== 0) return;
    isHeld = true;
    chart.setPointerCapture(event.pointerId);
    moveTo(overTimeIndexAt(event));
  });
  chart.addEventListener('pointermove', (event) => {
    overTime.pointedAt = overTimeIndexAt(event);
    if (isHeld) moveTo(overTime.pointedAt);
    tellOverTime();
  });
  chart.addEventListener('pointerleave', () => {
    overTime.pointedAt = null;
    tellOverTime();
  });
  for (const end of ['pointerup', 'pointercancel']) {
    chart.addEventListener(end, () => { isHeld = false; });
  }
  chart.addEventListener('keydown', onOverTimeKey);
  viewer.addEventListener('close', () => { overTime.source = null; });
  keepFresh(drawOverTime);
}
