'use strict';
// Stage times: their table, and uPlot's chart over the frames.

const milliseconds = (value) => value.toFixed(value < 100 ? 2 : value < 1000 ? 1 : 0);

/// A colour of the style sheet as the theme in force gives it, which a canvas needs.
function themeColour(name) {
  const probe = byId('chart');
  probe.style.color = `var(${name})`;
  const colour = getComputedStyle(probe).color;
  probe.style.color = '';
  return colour;
}

function makeStageRow(stage, setVisible) {
  const times = data.timing[stage];
  const box = make('input', {
    type: 'checkbox', checked: true, 'data-stage': stage,
    onchange: () => setVisible(box.checked),
  });
  const numbers = ['mean', 'p50', 'p95', 'p99'].map((key) =>
    make('td', {class: 'number ' + key}, milliseconds(times[key])));
  const worst = make('button', {
    type: 'button', 'aria-label': `Worst ${stage}, ${milliseconds(times.worst)} ms: open its frame`,
    onclick: () => openViewer(times.worst_frame),
  }, milliseconds(times.worst));
  return make('tr', {},
    make('th', {scope: 'row'}, make('label', {}, box, swatch(`var(--stage-${stage})`), stage)),
    ...numbers, make('td', {class: 'number'}, worst));
}

function chartAxes() {
  const stroke = () => themeColour('--muted');
  const grid = {stroke: () => themeColour('--line'), width: 1};
  const whole = [1, 2, 5].flatMap((n) => [1, 10, 100, 1e3, 1e4, 1e5].map((ten) => n * ten));
  return [
    {
      stroke, grid, ticks: grid, incrs: whole.sort((a, b) => a - b), label: 'frame', labelSize: 20, size: 34,
      values: (plot, numbers) => numbers.map((n) => n >= 1 && n <= frames.length ? n : ''),
    },
    {stroke, grid, ticks: grid, size: 56},
  ];
}

function showReading(plot) {
  const index = plot.cursor.idx;
  if (index == null || !frames[index]) {
    byId('chart-reading').textContent = '\u00a0';
    return;
  }
  const times = frames[index].times;
  byId('chart-reading').textContent = `${index + 1}, ${nameOf(frames[index])}: ` +
    data.stages.map((stage, i) => times[i] == null ? '' : `${stage} ${milliseconds(times[i])}`)
      .filter((text) => text).join(', ');
}

function openAtClick(plot) {
  let downAt = null;
  plot.over.addEventListener('mousedown', (event) => { downAt = event.clientX; });
  plot.over.addEventListener('click', (event) => {
    const wasDrag = Math.abs(event.clientX - downAt) > 3;
    if (!wasDrag && plot.cursor.idx != null) openViewer(plot.cursor.idx);
  });
}

function drawChart(place) {
  const series = data.stages.map((stage) => ({
    label: stage,
    stroke: () => themeColour(`--stage-${stage}`),
    width: stage === 'total' ? 2 : 1.5,
    points: {show: frames.length <= 60, size: 5},
  }));
  const values = data.stages.map((stage, i) => frames.map((frame) => frame.times[i] ?? null));
  const last = frames.length;
  return new uPlot({
    width: Math.max(280, place.clientWidth),
    height: 260,
    legend: {show: false},
    scales: {
      x: {time: false, range: (plot, min, max) => min === max ? [min - 1, max + 1] : [min, max]},
      y: {range: (plot, min, max) => [0, max > 0 ? max * 1.05 : 1]},
    },
    axes: chartAxes(),
    series: [{label: 'frame'}, ...series],
    hooks: {setCursor: [showReading], ready: [openAtClick]},
  }, [Array.from({length: last}, (_, i) => i + 1), ...values], place);
}

/// Returns what repaints the chart in the theme's colours.
function setUpTimes() {
  if (data.stages.length === 0) {
    byId('times').hidden = true;
    return () => {};
  }
  const place = byId('chart');
  let plot = null;
  byId('stages').tBodies[0].append(...data.stages.map((stage, i) =>
    makeStageRow(stage, (isOn) => plot.setSeries(i + 1, {show: isOn}))));
  plot = drawChart(place);
  new ResizeObserver(() => {
    plot.setSize({width: Math.max(280, place.clientWidth), height: 260});
  }).observe(place);
  return () => plot.redraw(false, true);
}
