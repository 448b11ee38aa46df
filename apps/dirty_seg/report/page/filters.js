'use strict';
// The score slider and the switches. They stand above the frames, and in the viewer while it is
// open.

const labelIds = Object.keys(data.labels).map(Number);

function makeLabelSwitch(id) {
  const amount = make('span', {class: 'amount'});
  const box = make('input', {
    type: 'checkbox',
    checked: true,
    'data-label': id,
    onchange: () => {
      if (box.checked) shown.hiddenLabels.delete(id);
      else shown.hiddenLabels.add(id);
      refreshSoon();
    },
  });
  const name = make('span', {class: 'name', title: labelOf(id).name}, labelOf(id).name);
  byId('labels').append(make('label', {class: 'switch'}, box, swatch(labelOf(id).colour), name, amount));
  return {id, box, amount};
}

function countLabels() {
  const counts = new Map(labelIds.map((id) => [id, {shown: 0, all: 0, frames: 0}]));
  for (const frame of frames.filter(isFrameShown)) {
    const seen = new Set();
    frame.labels.forEach((id, detection) => {
      const count = counts.get(id);
      ++count.all;
      if (!isShown(frame, detection)) return;
      ++count.shown;
      seen.add(id);
    });
    for (const id of seen) ++counts.get(id).frames;
  }
  return counts;
}

function setUpLabels() {
  const switches = labelIds.map(makeLabelSwitch);
  const setEvery = (isOn) => {
    for (const {id, box} of switches) {
      box.checked = isOn;
      if (isOn) shown.hiddenLabels.delete(id);
      else shown.hiddenLabels.add(id);
    }
    refreshSoon();
  };
  byId('all-labels').addEventListener('click', () => setEvery(true));
  byId('no-labels').addEventListener('click', () => setEvery(false));
  return switches;
}

function makeCountRow(id) {
  const cells = ['shown', 'all', 'frames'].map(() => make('td', {class: 'number'}));
  const bar = make('span', {class: 'bar', 'aria-hidden': 'true'});
  const head = make('th', {scope: 'row'}, swatch(labelOf(id).colour), ' ', labelOf(id).name);
  byId('counts').tBodies[0].append(make('tr', {'data-label': id}, head, ...cells, make('td', {}, bar)));
  return {id, cells, bar};
}

// What would do nothing is not shown.
function hideIdleFilters() {
  byId('filters').hidden = labelIds.length === 0 && against === null;
  byId('counts-hint').hidden = labelIds.length > 0;
  byId('counts').parentElement.hidden = labelIds.length === 0;
}

// What the page jumps to, or focuses, does not come to lie under the filters that stay at its top.
function keepClearOfFilters() {
  const place = byId('filters-place');
  new ResizeObserver(() => {
    document.documentElement.style.scrollPaddingTop = place.offsetHeight + 'px';
  }).observe(place);
}

function setUpFilters() {
  hideIdleFilters();
  keepClearOfFilters();
  const switches = setUpLabels();
  const rows = labelIds.map(makeCountRow);
  keepFresh(() => {
    const counts = countLabels();
    const most = Math.max(1, ...[...counts.values()].map((count) => count.shown));
    for (const {id, amount} of switches) amount.textContent = counts.get(id).shown;
    for (const {id, cells, bar} of rows) {
      const count = counts.get(id);
      [count.shown, count.all, count.frames].forEach((n, i) => { cells[i].textContent = n; });
      bar.style.width = `${100 * count.shown / most}%`;
    }
  });
  byId('score').addEventListener('input', () => {
    shown.minScore = Number(byId('score').value);
    byId('score-value').textContent = shown.minScore.toFixed(2);
    refreshSoon();
  });
  for (const layer of ['boxes', 'names', 'masks']) {
    byId('show-' + layer).addEventListener('change', (event) => {
      shown[layer] = event.target.checked;
      refreshSoon();
    });
  }
}
