'use strict';
// What the classifier rejected, and what failed.

function makeCrop({frame, index, candidate}) {
  const {detection, score} = candidate;
  const url = pictureUrl('crop', index, detection);
  const label = labelOf(frame.labels[detection]).name;
  const picture = url === null ? make('span', {class: 'hint'}, 'not in this page')
    : make('img', {src: url, alt: '', loading: 'lazy', decoding: 'async'});
  return make('li', {'data-frame': index, 'data-detection': detection},
    make('button', {
      type: 'button', class: 'crop', title: frame.source,
      'aria-label': `${label} in ${nameOf(frame)}: open the frame`,
      onclick: () => openViewer(index, detection),
    }, picture),
    make('p', {title: label}, swatch(labelOf(frame.labels[detection]).colour), ' ', label, ' ',
      frame.scores[detection].toFixed(2)),
    make('p', {class: 'hint', title: frame.source},
      (score == null ? '' : `classifier ${score.toFixed(2)}, `) + nameOf(frame)));
}

// More than a person looks through; the table has all.
const kMaxCrops = 200;

function setUpRejected() {
  const rejected = frames.flatMap((frame, index) => frame.candidates
    .filter((candidate) => candidate.verdict === 'rejected')
    .map((candidate) => ({frame, index, candidate})));
  if (!data.has_classifier) {
    byId('rejected').hidden = true;
    return;
  }
  keepFresh(() => {
    const left = rejected.filter(({frame, candidate}) => isFrameShown(frame) && isShown(frame, candidate.detection));
    byId('crops').replaceChildren(...left.slice(0, kMaxCrops).map(makeCrop));
    byId('rejected-hint').textContent = left.length === 0
      ? (rejected.length === 0 ? 'No candidate was rejected.' : 'None of those that are shown.')
      : `${plural(left.length, 'candidate')} of ${rejected.length}, which keep the label of the first network.` +
        (left.length > kMaxCrops ? ` The first ${kMaxCrops} are shown; the table has all.` : '');
  });
}

function setUpFailed() {
  const failed = frames.filter((frame) => !frame.ok);
  byId('failed').hidden = failed.length === 0;
  byId('failed').querySelector('ul').append(...failed.map((frame) =>
    make('li', {title: frame.source}, make('span', {class: 'file'}, nameOf(frame)), ': ', frame.message,
      ...(frame.change ? [` (${changeTexts(frame.change)[0]})`] : []))));
}
