'use strict';
// One frame at full size, with boxes and masks drawn over it from the data.

const viewer = byId('viewer');
const view = {index: 0, marked: null, isFull: false, scale: 1, masks: new Map(), svg: null};

const kHalo = 'rgb(0 0 0 / 75%)';

// Lines and letters are so many pixels of the screen, whatever the scale.
function makeOutline([left, top, right, bottom], colour, isMarked) {
  const pixel = 1 / view.scale;
  const line = isMarked ? 4 : 2;
  const place = {
    x: left, y: top, width: Math.max(0, right - left), height: Math.max(0, bottom - top), fill: 'none',
  };
  return [
    makeSvg('rect', {...place, class: 'halo', stroke: kHalo, 'stroke-width': (line + 2) * pixel}),
    makeSvg('rect', {...place, class: 'line', stroke: colour, 'stroke-width': line * pixel}),
  ];
}

function makeTag([left, top, right], name, score, frameWidth) {
  const pixel = 1 / view.scale;
  const size = (view.scale < 0.3 ? 11 : 13) * pixel;
  const text = `${name.length > 40 ? name.slice(0, 39) + '\u2026' : name} ${score.toFixed(2)}`;
  // Letters are about 0.62 of their height wide.
  const reachesOut = left + text.length * 0.62 * size > frameWidth;
  return makeSvg('text', {
    x: reachesOut ? Math.min(right, frameWidth) : Math.max(0, left) + 2 * pixel,
    y: top > size * 1.4 ? top - 5 * pixel : top + size * 1.1,
    'text-anchor': reachesOut ? 'end' : 'start', 'font-size': size, fill: '#fff', stroke: '#000',
    'stroke-width': 3 * pixel, 'paint-order': 'stroke', 'stroke-linejoin': 'round',
  }, text);
}

function makeBox(frame, detection) {
  const box = frame.boxes[detection];
  const {name, colour} = labelOf(frame.labels[detection]);
  return makeSvg('g', {class: 'box', 'data-detection': detection},
    ...(shown.boxes ? makeOutline(box, colour, detection === view.marked) : []),
    ...(shown.names ? [makeTag(box, name, frame.scores[detection], frame.size[0])] : []));
}

function drawBoxes() {
  if (view.svg === null) return;
  const frame = frames[view.index];
  // The best, and the marked one above all, come last: on top.
  const order = shownDetections(frame).sort((a, b) =>
    (a === view.marked) - (b === view.marked) || frame.scores[a] - frame.scores[b]);
  view.svg.replaceChildren(...order.map((detection) => makeBox(frame, detection)));
}

/// A mask is of all detections of its label: it is shown as long as one of them is.
function drawMasks() {
  const frame = frames[view.index];
  const labels = new Set(shownDetections(frame).map((detection) => frame.labels[detection]));
  for (const [id, canvas] of view.masks) {
    canvas.hidden = !shown.masks || !labels.has(id);
    if (canvas.hidden || canvas.dataset.painted) continue;
    paintMask(frame.masks[id], labelOf(id).colour, canvas);
    canvas.dataset.painted = 'yes';
  }
}

function makeListItem(frame, detection) {
  const {name, colour} = labelOf(frame.labels[detection]);
  const verdict = verdictText(candidateOf(frame, detection));
  const button = make('button', {
    type: 'button', 'aria-pressed': String(detection === view.marked),
    onclick: () => {
      view.marked = detection === view.marked ? null : detection;
      for (const other of byId('viewer-list').querySelectorAll('button')) {
        other.setAttribute('aria-pressed', String(other === button && view.marked !== null));
      }
      drawBoxes();
    },
  }, swatch(colour),
  make('span', {class: 'name'}, name, verdict ? make('span', {class: 'verdict'}, verdict) : ''),
  make('span', {class: 'number'}, frame.scores[detection].toFixed(2)));
  return make('li', {'data-detection': detection}, button);
}

function drawList() {
  const frame = frames[view.index];
  const order = shownDetections(frame).sort((a, b) => frame.scores[b] - frame.scores[a]);
  byId('viewer-list').replaceChildren(...order.map((detection) => makeListItem(frame, detection)));
}

function refreshViewer() {
  if (!viewer.open || !frames[view.index].ok) return;
  drawMasks();
  drawBoxes();
  drawList();
}

/// Sizes the picture to the room there is, or to its own pixels.
function layOut() {
  const frame = frames[view.index];
  if (!viewer.open || !frame.ok) return;
  const [width, height] = frame.size;
  const stage = byId('stage');
  view.scale = view.isFull ? 1 : Math.min(stage.clientWidth / width, stage.clientHeight / height);
  byId('picture').style.width = Math.max(1, Math.floor(width * view.scale)) + 'px';
  byId('picture').style.height = Math.max(1, Math.floor(height * view.scale)) + 'px';
  drawBoxes();
}

function fillPicture(frame) {
  const [width, height] = frame.size;
  const url = pictureUrl('picture', view.index);
  view.masks = new Map(Object.keys(frame.masks).map((id) =>
    [Number(id), make('canvas', {width, height, hidden: true, 'data-label': id})]));
  view.svg = makeSvg('svg', {viewBox: `0 0 ${width} ${height}`, 'aria-hidden': 'true'});
  byId('picture').classList.remove('failed');
  byId('picture').replaceChildren(
    ...(url === null ? [] : [make('img', {src: url, alt: `The picture ${nameOf(frame)}`})]),
    ...view.masks.values(), view.svg);
}

function fillFailure(frame) {
  view.masks = new Map();
  view.svg = null;
  byId('picture').removeAttribute('style');
  byId('picture').classList.add('failed');
  byId('picture').replaceChildren(make('p', {}, 'This frame failed: ' + frame.message));
  byId('viewer-list').replaceChildren();
}

function factsOf(frame) {
  const facts = [`Frame ${view.index + 1} of ${frames.length}`];
  if (frame.ok) facts.push(`${frame.size[0]} x ${frame.size[1]}`);
  if (frame.picture === 'overlay') facts.push('the source is gone: this is the overlay, with its marks burned in');
  if (frame.ok && !frame.picture) facts.push(frame.without || 'its picture is not in this page');
  return facts.join(' \u00b7 ');
}

function showFrame(index, marked = null) {
  view.index = index;
  view.marked = marked;
  const frame = frames[index];
  byId('viewer-name').textContent = nameOf(frame);
  byId('viewer-name').title = frame.source;
  byId('viewer-facts').textContent = factsOf(frame);
  if (frame.ok) fillPicture(frame);
  else fillFailure(frame);
  byId('viewer-before').disabled = neighbour(-1) === index;
  byId('viewer-after').disabled = neighbour(1) === index;
  layOut();
  refreshViewer();
}

/// The next frame in that direction that has a picture; the frame itself where there is none.
function neighbour(step, from = view.index) {
  for (let index = from + step; index >= 0 && index < frames.length; index += step) {
    if (frames[index].picture) return index;
  }
  return view.index;
}

function moveTo(index) {
  if (index !== view.index) showFrame(index);
}

function openViewer(index, marked = null) {
  byId('viewer-filters').append(byId('filters'));
  viewer.showModal();
  byId('stage').focus();
  showFrame(index, marked);
}

function toggleFullSize() {
  view.isFull = !view.isFull;
  byId('viewer-zoom').setAttribute('aria-pressed', String(view.isFull));
  layOut();
}

const kKeys = {
  ArrowLeft: () => moveTo(neighbour(-1)),
  ArrowRight: () => moveTo(neighbour(1)),
  Home: () => moveTo(neighbour(1, -1)),
  End: () => moveTo(neighbour(-1, frames.length)),
  z: toggleFullSize,
  b: () => byId('show-boxes').click(),
  n: () => byId('show-names').click(),
  m: () => byId('show-masks').click(),
};

function onKey(event) {
  const action = kKeys[event.key];
  const movesSlider = event.target.type === 'range' && event.key.length > 1;
  if (!action || movesSlider || event.ctrlKey || event.altKey || event.metaKey) return;
  event.preventDefault();
  action();
}

function setUpViewer() {
  byId('viewer-before').addEventListener('click', () => moveTo(neighbour(-1)));
  byId('viewer-after').addEventListener('click', () => moveTo(neighbour(1)));
  byId('viewer-zoom').addEventListener('click', toggleFullSize);
  byId('viewer-close').addEventListener('click', () => viewer.close());
  viewer.addEventListener('keydown', onKey);
  viewer.addEventListener('close', () => byId('filters-place').append(byId('filters')));
  new ResizeObserver(layOut).observe(byId('stage'));
  keepFresh(refreshViewer);
}
