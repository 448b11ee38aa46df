'use strict';
// What a mouse or fingers do to the picture in the viewer: the wheel and two fingers zoom, dragging
// moves, a double click shows all of it.

const kClickWay = 4;  // pixels within which a press that moves is still a click
const kLine = 16;     // pixels of a wheel that counts in lines

/// How much a turn of the wheel zooms: about a fifth at one notch of a mouse, less on a touch pad.
function wheelFactor(event) {
  const pixels = event.deltaY * (event.deltaMode === WheelEvent.DOM_DELTA_PIXEL ? 1 : kLine);
  // A pinch on a touch pad comes as a wheel with Ctrl, in small steps.
  const speed = event.ctrlKey ? 0.01 : 0.0015;
  return Math.exp(-Math.max(-240, Math.min(240, pixels)) * speed);
}

/// The point in the middle of the pointers, and how far the first two are apart.
function spanOf(pointers) {
  const points = [...pointers.values()];
  const middle = (key) => points.reduce((sum, point) => sum + point[key], 0) / points.length;
  const [a, b = a] = points;
  return {
    middle: [middle('clientX'), middle('clientY')],
    distance: Math.hypot(a.clientX - b.clientX, a.clientY - b.clientY),
  };
}

/// Follows mouse, pen and fingers. A press that was no drag goes to `onClick`.
function setUpDragging(onClick) {
  const stage = byId('stage');
  const pointers = new Map();
  let way = 0;
  stage.addEventListener('pointerdown', (event) => {
    if (event.button !== 0 || pointers.size === 2) return;
    // Beside the content there are only the scroll bars, which are the browser's.
    const place = stage.getBoundingClientRect();
    if (event.clientX >= place.left + stage.clientWidth ||
        event.clientY >= place.top + stage.clientHeight) return;
    if (pointers.size === 0) way = 0;
    pointers.set(event.pointerId, event);
    stage.setPointerCapture(event.pointerId);
  });
  stage.addEventListener('pointermove', (event) => {
    if (!pointers.has(event.pointerId)) return;
    const before = spanOf(pointers);
    pointers.set(event.pointerId, event);
    const now = spanOf(pointers);
    const held = shareAt(before.middle);
    if (pointers.size === 2 && before.distance > 0) zoomBy(now.distance / before.distance);
    panTo(held, now.middle);
    way += Math.abs(now.middle[0] - before.middle[0]) + Math.abs(now.middle[1] - before.middle[1]) +
      Math.abs(now.distance - before.distance);
  });
  for (const end of ['pointerup', 'pointercancel']) {
    stage.addEventListener(end, (event) => pointers.delete(event.pointerId));
  }
  stage.addEventListener('click', (event) => { if (way < kClickWay) onClick(event); });
}

/// What is under the pointer stays there. Where the picture is smaller than its place it cannot, so
/// that it is remembered for as long as the wheel turns at one point and nothing else moves.
function setUpWheel() {
  const stage = byId('stage');
  let last = {};
  stage.addEventListener('wheel', (event) => {
    if (view.svg === null) return;
    event.preventDefault();
    const {clientX: x, clientY: y} = event;
    const isSame = last.x === x && last.y === y && last.left === stage.scrollLeft &&
      last.top === stage.scrollTop && last.index === view.index;
    const held = isSame ? last.held : shareAt([x, y]);
    zoomBy(wheelFactor(event), [x, y], held);
    last = {x, y, held, left: stage.scrollLeft, top: stage.scrollTop, index: view.index};
  }, {passive: false});
}

function setUpGestures(onClick) {
  setUpDragging(onClick);
  setUpWheel();
  byId('stage').addEventListener('dblclick', showWhole);
}
