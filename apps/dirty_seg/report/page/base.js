'use strict';
// The page's data, what of it is to be shown, and how its pieces are made. Everything that comes
// from the results goes into the page as text or as an attribute's value, never as markup.

const data = JSON.parse(document.getElementById('data').textContent);
const frames = data.frames;

// In the place of a score that is not a number: less than any that is one.
const kNoScore = {toFixed: () => 'no score', valueOf: () => -1};
for (const frame of frames) frame.scores = frame.scores.map((score) => score ?? kNoScore);

const byId = (id) => document.getElementById(id);

function setAll(element, attributes, children) {
  for (const [name, value] of Object.entries(attributes)) {
    if (name.startsWith('on')) element.addEventListener(name.slice(2), value);
    else if (name === 'colour') element.style.color = value;
    else if (value === true) element.setAttribute(name, '');
    else if (value !== false && value != null) element.setAttribute(name, value);
  }
  element.append(...children);
  return element;
}

const make = (tag, attributes = {}, ...children) =>
  setAll(document.createElement(tag), attributes, children);

const makeSvg = (tag, attributes = {}, ...children) =>
  setAll(document.createElementNS('http://www.w3.org/2000/svg', tag), attributes, children);

const swatch = (colour) => make('span', {class: 'swatch', colour, 'aria-hidden': 'true'});

const plural = (count, one, many = one + 's') => `${count} ${count === 1 ? one : many}`;

const labelOf = (id) => data.labels[id];

/// What the lists are of.
const findingWord = data.has_things ? 'thing' : 'detection';
/// The label among whose masks that of the label is.
const maskLabelOf = (id) => labelOf(id).mask ?? id;

/// What a person calls the frame: its file, and its number where one file has several.
function nameOf(frame) {
  const file = frame.source.split('/').pop() || frame.source;
  return frame.frame > 0 ? `${file} #${frame.frame}` : file;
}

/// A file's name of which the end stays where there is no room for all of it, since names of one
/// recording differ there.
function fileName(name) {
  const kTail = 14;
  const cut = Math.max(0, name.length - kTail);
  return make('span', {class: 'ends'}, make('span', {class: 'head'}, name.slice(0, cut)),
    make('span', {class: 'tail'}, name.slice(cut)));
}

/// The classifier's word on a detection; undefined where it was not asked.
const candidateOf = (frame, detection) =>
  frame.candidates.find((candidate) => candidate.detection === detection);

const kVerdicts = {
  confirmed: 'confirmed',
  rejected: 'rejected',
  not_checked: 'not checked',
  failed: 'classifier failed',
};

function verdictText(candidate) {
  if (candidate === undefined) return '';
  const score = candidate.score == null ? '' : ` (${candidate.score.toFixed(2)})`;
  return (kVerdicts[candidate.verdict] || candidate.verdict) + score;
}

/// Address of an embedded picture; null where the page does not carry it.
function pictureUrl(kind, ...indices) {
  const element = byId([kind, ...indices].join('-'));
  return element === null ? null : 'data:image/jpeg;base64,' + element.textContent;
}

// ---- What is shown ------------------------------------------------------------------------------

const shown = {
  minScore: 0, hiddenLabels: new Set(), boxes: true, names: true, masks: true, others: true,
  changedOnly: false,
};

// The slider at its lowest lets all pass, also what has no score.
const isShown = (frame, detection) =>
  (shown.minScore === 0 || frame.scores[detection] >= shown.minScore) &&
  !shown.hiddenLabels.has(frame.labels[detection]);

const shownDetections = (frame) =>
  [...frame.labels.keys()].filter((detection) => isShown(frame, detection));

const refreshers = [];

/// Calls `refresh` now and whenever something else is to be shown.
function keepFresh(refresh) {
  refreshers.push(refresh);
  refresh();
}

let refreshIsDue = false;
function refreshSoon() {
  if (refreshIsDue) return;
  refreshIsDue = true;
  requestAnimationFrame(() => {
    refreshIsDue = false;
    for (const refresh of refreshers) refresh();
  });
}
