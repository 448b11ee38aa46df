'use strict';
// One frame at full size, with boxes and masks drawn over it from the data.

const viewer = byId('viewer');
const view = {
  index: 0, marked: null, isFull: false, zoom: 1, scale: 1, masks: new Map(), svg: null,
};

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

/// The first free place for a name: above its box, within it, below it. Undefined where others have
/// all three.
function findPlace([left, top, right, bottom], width, height, [frameWidth, frameHeight], taken) {
  const x = left + width > frameWidth ? Math.min(Math.max(right, width), frameWidth) - width
    : Math.max(0, left);
  const places = [top - height, top, bottom].map((from) => {
    const y = Math.max(0, Math.min(from, frameHeight - height));
    return {left: x, top: y, right: x + width, bottom: y + height};
  });
  return places.find((place) => !taken.some((other) => place.left < other.right &&
    other.left < place.right && place.top < other.bottom && other.top < place.bottom));
}

/// Nothing where the names in `taken` leave no room for this one, which joins them otherwise. `found`
/// is the frame, or what the other run found in it.
function makeTag(frame, found, detection, attributes, taken) {
  const pixel = 1 / view.scale;
  const size = (view.scale < 0.3 ? 11 : 13) * pixel;
  const {name} = labelOf(found.labels[detection]);
  const text = `${name.length > 40 ? name.slice(0, 39) + '\u2026' : name} ${found.scores[detection].toFixed(2)}`;
  // Letters are about 0.62 of their height wide.
  const width = text.length * 0.62 * size;
  const place = findPlace(found.boxes[detection], width, size * 1.4, frame.size, taken);
  if (place === undefined) return [];
  taken.push(place);
  const reachesOut = found.boxes[detection][0] + width > frame.size[0];
  return [makeSvg('text', {
    ...attributes, x: reachesOut ? place.right : place.left + 2 * pixel, y: place.bottom - size * 0.35,
    'text-anchor': reachesOut ? 'end' : 'start', 'font-size': size, fill: '#fff', stroke: '#000',
    'stroke-width': 3 * pixel, 'paint-order': 'stroke', 'stroke-linejoin': 'round',
  }, text)];
}

function makeBox(frame, detection) {
  const {colour} = labelOf(frame.labels[detection]);
  return makeSvg('g', {class: 'box', 'data-detection': detection},
    ...(shown.boxes ? makeOutline(frame.boxes[detection], colour, detection === view.marked) : []));
}

/// Dashed, in the colour of its label. Below this run's boxes, so that one that both have is seen once.
function makeOtherBox(frame, other) {
  const [left, top, right, bottom] = otherOf(frame).boxes[other];
  const pixel = 1 / view.scale;
  const place = {x: left, y: top, width: Math.max(0, right - left), height: Math.max(0, bottom - top), fill: 'none'};
  return makeSvg('g', {class: 'other-box', 'data-other': other},
    makeSvg('rect', {...place, class: 'halo', stroke: kHalo, 'stroke-width': 4 * pixel}),
    makeSvg('rect', {
      ...place, class: 'dashes', stroke: labelOf(otherOf(frame).labels[other]).colour,
      'stroke-width': 2 * pixel, 'stroke-dasharray': `${8 * pixel} ${5 * pixel}`,
    }));
}

const makeOtherTag = (frame, other, taken) =>
  makeTag(frame, otherOf(frame), other, {'data-other': other, 'font-style': 'italic'}, taken);

/// The marked one before all, then the best.
function drawingOrder(frame) {
  return shownDetections(frame).sort((a, b) =>
    (b === view.marked) - (a === view.marked) || frame.scores[b] - frame.scores[a]);
}

function drawBoxes() {
  if (view.svg === null) return;
  const frame = frames[view.index];
  const order = drawingOrder(frame);
  const taken = [];
  const tags = shown.names ? order.flatMap((detection) => makeTag(frame, frame, detection, {'data-detection': detection}, taken)) : [];
  const boxes = order.map((detection) => makeBox(frame, detection));
  const others = shownOthers(frame);
  const otherTags = shown.names ? others.filter((other) => hasOwnName(frame, other))
    .flatMap((other) => makeOtherTag(frame, other, taken)) : [];
  view.svg.replaceChildren(...others.map((other) => makeOtherBox(frame, other)), ...boxes.reverse(),
    ...tags, ...otherTags);
  byId('viewer-hint').textContent = listHint(frame, boxes.length, boxes.length - tags.length);
}

function listHint(frame, count, nameless) {
  if (frame.labels.length === 0) return 'Nothing was found in this frame.';
  if (count === 0) return 'None is left by the slider and the switches.';
  if (!shown.names || nameless === 0) return '';
  return `${plural(nameless, 'name')} would lie on others and ${nameless === 1 ? 'is' : 'are'} ` +
    'left out; a click here or on a box shows its name.';
}

/// Things have masks of their own. Otherwise a mask is of all detections of its label: of one, no
/// more is known than what lies in its box. So where some are hidden, the mask is shown in the boxes
/// of the others.
function drawMasks() {
  const frame = frames[view.index];
  const detections = shownDetections(frame);
  for (const [id, mask] of view.masks) {
    const mine = detections.filter((detection) => frame.labels[detection] === id);
    mask.canvas.hidden = !shown.masks || mine.length === 0;
    if (mask.canvas.hidden || mask.drawn === String(mine)) continue;
    mask.drawn = String(mine);
    if (frame.thing_masks) {
      paintMasks(mine.map((thing) => frame.thing_masks[thing]), labelOf(id).colour, mask.canvas);
    } else {
      drawLabelMask(frame, id, mine, mask);
    }
  }
}

function drawLabelMask(frame, id, mine, mask) {
  if (mask.whole === null) {
    mask.whole = make('canvas', {width: mask.canvas.width, height: mask.canvas.height});
    paintMasks([frame.masks[maskLabelOf(id)]], labelOf(id).colour, mask.whole);
  }
  const isWhole = mine.length === mask.owners;
  copyBoxes(mask.whole, isWhole ? null : mine.map((detection) => frame.boxes[detection]), mask.canvas);
}

/// What shows the masks of the frame, by label. `owners` is the number of detections that a mask is
/// of, `drawn` those that it was last drawn for.
function makeMasks(frame) {
  const [width, height] = frame.size;
  const ids = [...new Set(frame.labels)].filter((id) => frame.thing_masks ||
    frame.masks[maskLabelOf(id)]);
  return new Map(ids.sort((a, b) => a - b).map((id) => [id, {
    canvas: make('canvas', {width, height, hidden: true, 'data-label': id}),
    whole: null,
    owners: frame.labels.filter((other) => maskLabelOf(other) === maskLabelOf(id)).length,
    drawn: '',
  }]));
}

function makeListItem(frame, detection) {
  const {name, colour} = labelOf(frame.labels[detection]);
  const remarks = [verdictText(candidateOf(frame, detection)), changeOf(frame, detection)].filter(Boolean);
  const button = make('button', {
    type: 'button', 'aria-pressed': String(detection === view.marked),
    onclick: () => {
      mark(detection === view.marked ? null : detection);
      revealMarked();
    },
  }, swatch(colour),
  make('span', {class: 'name', title: name}, name, ...remarks.map((remark) => make('span', {class: 'verdict'}, remark))),
  make('span', {class: 'number'}, frame.scores[detection].toFixed(2)));
  return make('li', {'data-detection': detection}, button);
}

const listItem = (detection) => byId('viewer-list').querySelector(`[data-detection="${detection}"]`);

function drawList() {
  const frame = frames[view.index];
  const list = byId('viewer-list');
  const focused = list.contains(document.activeElement) ? document.activeElement : null;
  const order = shownDetections(frame).sort((a, b) => frame.scores[b] - frame.scores[a]);
  list.replaceChildren(...order.map((detection) => makeListItem(frame, detection)));
  drawVanished(frame);
  if (focused === null) return;
  const again = listItem(focused.parentElement.dataset.detection);
  (again === null ? byId('stage') : again.firstElementChild).focus();
}

function mark(detection) {
  view.marked = detection;
  for (const item of byId('viewer-list').children) {
    const isMarked = Number(item.dataset.detection) === detection;
    item.firstElementChild.setAttribute('aria-pressed', String(isMarked));
    if (isMarked) item.scrollIntoView({block: 'nearest'});
  }
  drawBoxes();
}

/// Moves the marked box to the middle, where the picture is larger than its place.
function revealMarked() {
  if (view.marked === null || view.svg === null) return;
  const frame = frames[view.index];
  const [left, top, right, bottom] = frame.boxes[view.marked];
  panTo([(left + right) / 2 / frame.size[0], (top + bottom) / 2 / frame.size[1]]);
}

/// The smallest of the boxes in which the point of the picture lies; null where there is none.
function detectionAt(x, y) {
  const frame = frames[view.index];
  const area = ([left, top, right, bottom]) => (right - left) * (bottom - top);
  return shownDetections(frame).filter((detection) => {
    const [left, top, right, bottom] = frame.boxes[detection];
    return left <= x && x <= right && top <= y && y <= bottom;
  }).sort((a, b) => area(frame.boxes[a]) - area(frame.boxes[b]))[0] ?? null;
}

function markAtClick(event) {
  if (view.svg === null) return;
  const place = byId('picture').getBoundingClientRect();
  const detection = detectionAt((event.clientX - place.left) / view.scale,
    (event.clientY - place.top) / view.scale);
  mark(detection === view.marked ? null : detection);
}

/// The buttons lead where there is a frame.
function refreshWays() {
  if (!viewer.open) return;
  byId('viewer-before').disabled = neighbour(-1) === view.index;
  byId('viewer-after').disabled = neighbour(1) === view.index;
  // A button that is switched off keeps the keys from all others.
  if (document.activeElement.disabled) byId('stage').focus();
}

function refreshViewer() {
  if (!viewer.open || !frames[view.index].ok) return;
  drawMasks();
  drawBoxes();
  drawList();
}

/// The scale at which the whole picture is seen. Scroll bars, which go then, are no part of the room.
function wholeScale() {
  const [width, height] = frames[view.index].size;
  const stage = byId('stage');
  return Math.min(stage.offsetWidth / width, stage.offsetHeight / height);
}

/// Sizes the picture to the room there is, zoomed, or to its own pixels.
function layOut() {
  const frame = frames[view.index];
  if (!viewer.open || !frame.ok) return;
  const [width, height] = frame.size;
  const whole = wholeScale();
  view.scale = view.isFull ? 1 : whole * view.zoom;
  byId('viewer-zoom').setAttribute('aria-pressed', String(view.isFull));
  byId('zoom-level').textContent = `${(view.scale / whole).toFixed(1)}\u00d7`;
  byId('picture').style.width = Math.max(1, Math.floor(width * view.scale)) + 'px';
  byId('picture').style.height = Math.max(1, Math.floor(height * view.scale)) + 'px';
  drawBoxes();
}

function fillPicture(frame) {
  const [width, height] = frame.size;
  const url = pictureUrl('picture', view.index);
  view.masks = makeMasks(frame);
  view.svg = makeSvg('svg', {viewBox: `0 0 ${width} ${height}`, 'aria-hidden': 'true'});
  byId('picture').classList.remove('failed');
  byId('picture').replaceChildren(
    ...(url === null ? [] : [make('img', {src: url, alt: `The picture ${nameOf(frame)}`})]),
    ...[...view.masks.values()].map((mask) => mask.canvas), view.svg);
}

function fillFailure(frame) {
  view.masks = new Map();
  view.svg = null;
  byId('picture').removeAttribute('style');
  byId('picture').classList.add('failed');
  byId('picture').replaceChildren(make('p', {}, 'This frame failed: ' + frame.message));
  byId('viewer-list').replaceChildren();
  drawVanished(frame);
  byId('viewer-hint').textContent = '';
}

function factsOf(frame) {
  const facts = [`Frame ${view.index + 1} of ${frames.length}`];
  if (frame.ok) facts.push(`${frame.size[0]} x ${frame.size[1]}`);
  if (frame.picture === 'overlay') facts.push('the source is gone: this is the overlay, with its marks burned in');
  if (frame.ok && !frame.picture) facts.push(frame.without || 'its picture is not in this page');
  if (frame.non_finite) facts.push('the network gave numbers that are not finite: dirt may be missed');
  if (frame.change) facts.push(...changeTexts(frame.change));
  return facts.join(' \u00b7 ');
}

function showFrame(index, marked = null) {
  view.index = index;
  view.marked = marked;
  const frame = frames[index];
  byId('viewer-name').replaceChildren(fileName(nameOf(frame)));
  byId('viewer-path').replaceChildren(fileName(frame.source));
  byId('viewer-path').title = frame.source;
  byId('viewer-facts').textContent = factsOf(frame);
  if (frame.ok) fillPicture(frame);
  else fillFailure(frame);
  refreshWays();
  followOverTime(frame);
  layOut();
  refreshViewer();
  if (marked === null) return;
  mark(marked);
  revealMarked();
}

/// The next frame in that direction that has a picture; the frame itself where there is none.
function neighbour(step, from = view.index) {
  for (let index = from + step; index >= 0 && index < frames.length; index += step) {
    if (frames[index].picture && isFrameShown(frames[index])) return index;
  }
  return view.index;
}

function moveTo(index) {
  if (index !== view.index) showFrame(index);
}

function openViewer(index, marked = null) {
  view.zoom = 1;
  byId('viewer-filters').append(byId('filters'));
  viewer.showModal();
  byId('stage').focus();
  showFrame(index, marked);
}

/// Changes the scale while the held part of the picture stays at that point of the window.
function changeScale(change, point = middleOfStage(), held = shareAt(point)) {
  change();
  layOut();
  panTo(held, point);
}

function toggleFullSize() {
  changeScale(() => {
    view.isFull = !view.isFull;
    view.zoom = 1;
  });
  revealMarked();
}

const kMostZoom = 16;  // 1 is the whole picture
const kKeyZoom = 1.25;

function zoomBy(factor, point, held) {
  if (view.svg === null) return;
  changeScale(() => {
    view.zoom = Math.max(1, Math.min(kMostZoom, view.scale / wholeScale() * factor));
    view.isFull = false;
  }, point, held);
}

function showWhole() {
  zoomBy(0);
}

const moveBack = () => moveTo(neighbour(-1));
const moveOn = () => moveTo(neighbour(1));

const kKeys = {
  ArrowLeft: () => panBySteps(-1, 0) || moveBack(),
  ArrowRight: () => panBySteps(1, 0) || moveOn(),
  ArrowUp: () => panBySteps(0, -1),
  ArrowDown: () => panBySteps(0, 1),
  ',': moveBack,
  '.': moveOn,
  Home: () => moveTo(neighbour(1, -1)),
  End: () => moveTo(neighbour(-1, frames.length)),
  z: toggleFullSize,
  '+': () => zoomBy(kKeyZoom),
  '=': () => zoomBy(kKeyZoom),  // the key of + without shift
  '-': () => zoomBy(1 / kKeyZoom),
  0: showWhole,
  ...(against === null ? {} : {
    o: () => byId('show-others').click(),
    c: () => byId('changed-only').click(),
  }),
  b: () => byId('show-boxes').click(),
  n: () => byId('show-names').click(),
  m: () => byId('show-masks').click(),
};

function onKey(event) {
  const action = kKeys[event.key];
  const movesSlider = event.target.type === 'range' && event.key.length > 1;
  if (!action || movesSlider || event.ctrlKey || event.altKey || event.metaKey) return;
  // What does nothing here is left to the browser.
  if (action() !== false) event.preventDefault();
}

function setUpViewer() {
  byId('viewer-before').addEventListener('click', moveBack);
  byId('viewer-after').addEventListener('click', moveOn);
  byId('viewer-zoom').addEventListener('click', toggleFullSize);
  byId('viewer-close').addEventListener('click', () => viewer.close());
  viewer.addEventListener('keydown', onKey);
  setUpGestures(markAtClick);
  viewer.addEventListener('close', () => byId('filters-place').append(byId('filters')));
  new ResizeObserver(layOut).observe(byId('stage'));
  keepFresh(refreshViewer);
  keepFresh(refreshWays);
}
