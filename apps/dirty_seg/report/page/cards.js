'use strict';
// The frames as thumbnails. Boxes are drawn only over those that are on the screen.

const boxPath = ([left, top, right, bottom]) => `M${left} ${top}H${right}V${bottom}H${left}Z`;

/// The other run's boxes that lie apart from this one's.
const thumbOthers = (frame) => shownOthers(frame).filter((other) => liesApart(frame, other)).map((other) => makeSvg('path', {
  d: boxPath(otherOf(frame).boxes[other]), class: 'other', stroke: labelOf(otherOf(frame).labels[other]).colour,
  'vector-effect': 'non-scaling-stroke',
}));

function drawThumbBoxes(frame, svg) {
  const paths = new Map();
  if (shown.boxes) {
    for (const detection of shownDetections(frame)) {
      const id = frame.labels[detection];
      paths.set(id, (paths.get(id) || '') + boxPath(frame.boxes[detection]));
    }
  }
  svg.replaceChildren(...thumbOthers(frame), ...[...paths].map(([id, d]) => makeSvg('path', {
    d, fill: 'none', stroke: labelOf(id).colour, 'stroke-width': 2, 'vector-effect': 'non-scaling-stroke',
  })));
}

function makeCard(frame, index) {
  const [width, height] = frame.size;
  const svg = makeSvg('svg', {viewBox: `0 0 ${width} ${height}`, 'aria-hidden': 'true'});
  const facts = make('span', {class: 'facts'});
  const changes = frame.change ? [make('span', {class: 'changes'}, changeTexts(frame.change).join(' \u00b7 '))] : [];
  const image = make('img', {
    src: pictureUrl('thumb', index), alt: '', width, height, loading: 'lazy', decoding: 'async',
  });
  const button = make('button', {
    type: 'button', class: 'card', title: frame.source, 'data-frame': index,
    onclick: () => openViewer(index),
  }, make('span', {class: 'thumb'}, image, svg),
  make('span', {class: 'caption'}, make('span', {class: 'file'}, fileName(nameOf(frame))), facts, ...changes));
  const refresh = () => {
    drawThumbBoxes(frame, svg);
    facts.textContent = plural(shownDetections(frame).length, findingWord);
  };
  return {button, frame, refresh, isOnScreen: false};
}

function cardsHint(count) {
  if (!frames.some(isFrameShown) && frames.length > 0) return 'No frame changed.';
  if (count > 0) return 'A frame opens at full size. Boxes follow the slider and the switches above.';
  if (frames.length === 0) return 'There is no frame.';
  if (!frames.some((frame) => frame.ok)) return 'No frame went through.';
  return 'This page carries no picture; the numbers below are of all frames.';
}

function setUpCards() {
  const cards = new Map();
  frames.forEach((frame, index) => {
    if (frame.picture) {
      const card = makeCard(frame, index);
      cards.set(card.button, card);
    }
  });
  const observer = new IntersectionObserver((entries) => {
    for (const entry of entries) {
      const card = cards.get(entry.target);
      card.isOnScreen = entry.isIntersecting;
      if (card.isOnScreen) card.refresh();
    }
  }, {rootMargin: '300px'});
  for (const button of cards.keys()) observer.observe(button);
  byId('cards').append(...cards.keys());
  keepFresh(() => {
    for (const card of cards.values()) {
      card.button.hidden = !isFrameShown(card.frame);
      if (card.isOnScreen) card.refresh();
    }
    byId('frames-hint').textContent = cardsHint(cards.size);
  });
}
