'use strict';
// Moves a picture that is larger than its place in the viewer.

const kPanShare = 0.1;  // of the place, at one press of a key

const hasRoomToPan = (stage) =>
  stage.scrollWidth > stage.clientWidth || stage.scrollHeight > stage.clientHeight;

/// Moves what is seen by steps to the right and down. Returns whether the picture is larger than
/// its place in that direction; at its edge it stays where it is.
function panBySteps(right, down) {
  const stage = byId('stage');
  const isWider = stage.scrollWidth > stage.clientWidth;
  const isHigher = stage.scrollHeight > stage.clientHeight;
  if ((right !== 0 && !isWider) || (down !== 0 && !isHigher)) return false;
  stage.scrollBy(right * kPanShare * stage.clientWidth, down * kPanShare * stage.clientHeight);
  return true;
}

/// The part of the picture in the middle of its place, as shares of its width and height.
function panCentre() {
  const stage = byId('stage').getBoundingClientRect();
  const picture = byId('picture').getBoundingClientRect();
  const share = (from, to, begin, length) => ((from + to) / 2 - begin) / Math.max(1, length);
  return [
    share(stage.left, stage.right, picture.left, picture.width),
    share(stage.top, stage.bottom, picture.top, picture.height),
  ];
}

function panTo([x, y]) {
  const stage = byId('stage');
  const picture = byId('picture');
  stage.scrollTo(x * picture.offsetWidth - stage.clientWidth / 2,
    y * picture.offsetHeight - stage.clientHeight / 2);
}

/// With a mouse; fingers move what scrolls as they are used to. A click that ends no drag goes to
/// `onClick`.
function setUpDragging(onClick) {
  const stage = byId('stage');
  let last = null;
  let way = 0;
  stage.addEventListener('pointerdown', (event) => {
    way = 0;
    if (event.pointerType !== 'mouse' || event.button !== 0 || !hasRoomToPan(stage)) return;
    last = event;
    stage.setPointerCapture(event.pointerId);
  });
  stage.addEventListener('pointermove', (event) => {
    if (last === null) return;
    const [x, y] = [last.clientX - event.clientX, last.clientY - event.clientY];
    stage.scrollBy(x, y);
    way += Math.abs(x) + Math.abs(y);
    last = event;
  });
  for (const end of ['pointerup', 'pointercancel']) {
    stage.addEventListener(end, () => { last = null; });
  }
  stage.addEventListener('click', (event) => { if (way < 4) onClick(event); });
}
