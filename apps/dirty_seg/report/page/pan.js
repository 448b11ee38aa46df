'use strict';
// Moves a picture that is larger than its place in the viewer.

const kPanShare = 0.1;  // of the place, at one press of a key

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

/// The part of the picture at a point of the window, as shares of its width and height.
function shareAt([x, y]) {
  const picture = byId('picture').getBoundingClientRect();
  return [(x - picture.left) / Math.max(1, picture.width),
    (y - picture.top) / Math.max(1, picture.height)];
}

/// The middle of the picture's place in the window.
function middleOfStage() {
  const stage = byId('stage').getBoundingClientRect();
  return [(stage.left + stage.right) / 2, (stage.top + stage.bottom) / 2];
}

/// Moves that part of the picture to a point of the window, as far as the picture reaches.
function panTo([x, y], [toX, toY] = middleOfStage()) {
  const picture = byId('picture').getBoundingClientRect();
  byId('stage').scrollBy(picture.left + x * picture.width - toX,
    picture.top + y * picture.height - toY);
}
