'use strict';
// What changed against another run. Without one, none of this shows.

const against = data.against ?? null;
for (const {other} of frames) {
  if (other) other.scores = other.scores.map((score) => score ?? kNoScore);
}

const kNothingFound = {boxes: [], scores: [], labels: []};
/// What the other run found in the frame.
const otherOf = (frame) => frame.other ?? kNothingFound;

const isFrameShown = (frame) => !shown.changedOnly || frame.change !== undefined;

const greatest = (entries) => Math.max(...entries.map((entry) => entry[2] ?? Infinity));
const farthest = (change) => change.moved ? greatest(change.moved) : 0;
const leastOverlap = (change) => change.masks ? Math.min(...Object.values(change.masks)) : 1;

/// Of what came, went or was called otherwise.
const countOf = (change) => [change.appeared, change.vanished, change.relabelled, change.verdicts]
  .reduce((sum, list) => sum + (list ? list.length : 0), 0);

/// Below 0 where the first change is the greater one: a whole frame, then the count, then distance,
/// score and masks.
function compareChanges(a, b) {
  const keys = [
    (change) => Number(Boolean(change.only_here || change.failed)), countOf, farthest,
    (change) => change.rescored ? greatest(change.rescored) : 0, (change) => 1 - leastOverlap(change),
  ];
  const key = keys.find((each) => each(a) !== each(b));
  return key === undefined ? 0 : key(b) - key(a);
}

const pixelsText = (pixels) => `${pixels.toFixed(pixels < 10 ? 1 : 0)} px`;

/// What changed in a frame, a text each.
function changeTexts(change) {
  if (change.only_here) return ['only in this run'];
  const {appeared, vanished, relabelled, moved, rescored, masks, verdicts} = change;
  return [
    change.failed && `failed only in ${change.failed === 'here' ? 'this' : 'the other'} run`,
    appeared && `${appeared.length} appeared`,
    vanished && `${vanished.length} vanished`,
    relabelled && `${plural(relabelled.length, 'label')} changed`,
    verdicts && `${plural(verdicts.length, 'verdict')} changed`,
    moved && `${moved.length} moved`,
    rescored && `${plural(rescored.length, 'score')} changed`,
    masks && 'masks changed',
  ].filter(Boolean);
}

const kOtherVerdicts = {...kVerdicts, native: "the network's own class"};

/// What changed in one detection of this run; empty where nothing did.
function changeOf(frame, detection) {
  const {change} = frame;
  if (!change || change.only_here) return '';
  const find = (list) => list && list.find(([here]) => here === detection);
  if (change.appeared && change.appeared.includes(detection)) return 'appeared';
  const [relabelled, moved, rescored, verdict] =
    [change.relabelled, change.moved, change.rescored, change.verdicts].map(find);
  return [
    relabelled && `was ${labelOf(frame.other.labels[relabelled[1]]).name}`,
    moved && `moved ${pixelsText(moved[2])}`,
    rescored && `score was ${frame.other.scores[rescored[1]].toFixed(4)}`,
    verdict && `was ${kOtherVerdicts[verdict[2]] || verdict[2]}`,
  ].filter(Boolean).join(', ');
}

/// Of the other run, those that the slider and the switches let pass.
const shownOthers = (frame) => shown.others ? shownDetections(otherOf(frame)) : [];

const isVanished = (frame, other) => Boolean(frame.change && frame.change.vanished &&
  frame.change.vanished.includes(other));

/// Whether one of these pairs has it.
const isInPairs = (pairs, other) => Boolean(pairs && pairs.some(([, there]) => there === other));

/// Those whose name is told beside their box: no box of this run has it there.
const hasOwnName = (frame, other) => isVanished(frame, other) ||
  isInPairs(frame.change && frame.change.relabelled, other);

/// Those that do not lie where this run has the same.
const liesApart = (frame, other) => hasOwnName(frame, other) ||
  isInPairs(frame.change && frame.change.moved, other);

// ---- The switches -------------------------------------------------------------------------------

const dashSample = () => makeSvg('svg', {class: 'dashes', viewBox: '0 0 22 12', 'aria-hidden': 'true'},
  makeSvg('rect', {x: 1.5, y: 1.5, width: 19, height: 9, class: 'other'}));

function makeSwitch(id, isOn, title, onchange, ...content) {
  const box = make('input', {
    type: 'checkbox', id, checked: isOn,
    onchange: () => {
      onchange(box.checked);
      refreshSoon();
    },
  });
  return make('label', {class: 'switch', title}, box, ...content);
}

function addSwitches() {
  byId('filters').querySelector('.layers').append(makeSwitch('show-others', true,
    `Boxes of '${against.name}', dashed; where both runs have the same box, only this run's is seen`,
    (isOn) => { shown.others = isOn; }, dashSample(), ' Other run'));
  byId('filters').querySelector('.score').after(makeSwitch('changed-only', false,
    `Frames that differ from those of '${against.name}'`,
    (isOn) => { shown.changedOnly = isOn; }, 'Changed frames only ',
    make('span', {class: 'amount'}, String(against.changed))));
}

// ---- The table of changed frames ----------------------------------------------------------------

const kMaxChanges = 200;  // more than a person looks through

const kChangeColumns = [
  ['Appeared', ({appeared}) => appeared && appeared.length],
  ['Vanished', ({vanished}) => vanished && vanished.length],
  ['Label changed', ({relabelled}) => relabelled && relabelled.length],
  ['Verdict changed', ({verdicts}) => verdicts && verdicts.length],
  ['Moved', (change) => change.moved && `${change.moved.length}, ${pixelsText(farthest(change))}`],
  ['Score changed', ({rescored}) => rescored && `${rescored.length}, ${scoreText(greatest(rescored))}`],
  ['Masks overlap', (change) => change.masks && leastOverlap(change).toFixed(4)],
];

const scoreText = (difference) => difference === Infinity ? 'no score' : difference.toFixed(4);

function changeRow({frame, index}) {
  const {change} = frame;
  const name = fileName(nameOf(frame));
  const head = make('td', {class: 'file'}, frame.ok ? make('button', {
    type: 'button', class: 'link', title: frame.source, onclick: () => openViewer(index),
  }, name) : name);
  if (change.only_here || change.failed) {
    return make('tr', {}, head, make('td', {colspan: kChangeColumns.length}, changeTexts(change)[0]));
  }
  return make('tr', {}, head, ...kChangeColumns.map(([, text]) =>
    make('td', {class: 'number'}, String(text(change) ?? ''))));
}

function changesHint(count) {
  if (count === 0) return `Nothing changed against '${against.name}'.`;
  return `Against '${against.name}', the most changed first: how many detections, and how far the ` +
    'farthest of them moved, how much the scores differ at most and the masks overlap at least.' +
    (count > kMaxChanges ? ` The first ${kMaxChanges} of ${count}.` : '');
}

function makeChangesSection(changed) {
  const table = make('table', {id: 'changed'},
    make('thead', {}, make('tr', {}, make('th', {scope: 'col'}, 'Frame'), ...kChangeColumns.map(
      ([title]) => make('th', {scope: 'col', class: 'number'}, title)))),
    make('tbody', {}, ...changed.slice(0, kMaxChanges).map(changeRow)));
  return make('section', {id: 'changes', 'aria-labelledby': 'changes-title'},
    make('h2', {id: 'changes-title'}, 'Changes'),
    make('p', {class: 'hint'}, changesHint(changed.length)),
    make('div', {
      class: 'scroll tall', tabindex: 0, role: 'group', 'aria-labelledby': 'changes-title',
      hidden: changed.length === 0,
    }, table));
}

/// Before the filters and the tables are made, which have a switch and a column more then.
function setUpChanges() {
  if (against === null) return;
  addSwitches();
  const changed = frames.map((frame, index) => ({frame, index}))
    .filter(({frame}) => frame.change)
    .sort((a, b) => compareChanges(a.frame.change, b.frame.change));
  byId('frames').after(makeChangesSection(changed));
  document.querySelector('nav a[href="#frames"]').after(make('a', {href: '#changes'}, 'Changes'));
  byId('viewer-keys').append(' With another run: o for its boxes, c for changed frames only.');
  byId('viewer-list').after(make('div', {id: 'vanished', hidden: true},
    make('h3', {}, 'Only in the other run'), make('ul', {id: 'vanished-list'})));
}

/// The vanished ones below the open frame's list.
function drawVanished(frame) {
  if (against === null) return;
  const other = otherOf(frame);
  const vanished = shownDetections(other).filter((detection) => isVanished(frame, detection));
  byId('vanished').hidden = vanished.length === 0;
  byId('vanished-list').replaceChildren(...vanished.map((detection) => {
    const {name, colour} = labelOf(other.labels[detection]);
    return make('li', {}, swatch(colour), make('span', {class: 'name', title: name}, name),
      make('span', {class: 'number'}, other.scores[detection].toFixed(2)));
  }));
}
