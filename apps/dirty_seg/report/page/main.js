'use strict';
// Puts the page together.

function showSummary() {
  const detections = frames.reduce((sum, frame) => sum + frame.labels.length, 0);
  byId('summary').textContent = [
    plural(frames.length, 'frame'), plural(detections, findingWord), ...data.facts,
  ].join(' \u00b7 ');
  byId('notes').append(...data.notes.map(({text, is_warning: isWarning}) =>
    make('p', {class: isWarning ? 'note warning' : 'note'}, text)));
}

function setUpTheme(repaint) {
  const themes = ['system', 'light', 'dark'];
  let theme = 0;
  byId('theme').addEventListener('click', () => {
    theme = (theme + 1) % themes.length;
    document.documentElement.dataset.theme = themes[theme];
    byId('theme').textContent = 'Theme: ' + themes[theme];
    repaint();
  });
  matchMedia('(prefers-color-scheme: dark)').addEventListener('change', repaint);
}

// A section that has nothing to show is hidden, and so is the way to it.
function hideDeadLinks() {
  for (const link of document.querySelectorAll('nav a[href]')) {
    link.hidden = byId(link.hash.slice(1)).hidden;
  }
}

showSummary();
setUpChanges();
setUpFilters();
setUpCards();
setUpTheme(setUpTimes());
setUpRejected();
setUpFailed();
setUpTable();
setUpViewer();
setUpOverTime();
hideDeadLinks();
byId('filters').addEventListener('submit', (event) => event.preventDefault());
document.documentElement.dataset.ready = 'yes';
