'use strict';
// COCO's compressed run lengths: columns first, zeros first, and from the fourth run on as the
// difference from the run two before.

function runLengths(counts) {
  const runs = [];
  for (let at = 0; at < counts.length;) {
    let value = 0;
    let shift = 0;
    let group = 0;
    do {
      group = counts.charCodeAt(at++) - 48;
      value |= (group & 31) << shift;
      shift += 5;
    } while ((group & 32) !== 0 && at < counts.length);
    if ((group & 16) !== 0 && shift < 32) value |= -1 << shift;
    runs.push(runs.length > 2 ? value + runs[runs.length - 2] : value);
  }
  return runs;
}

/// Paints the masks together in `colour`, "#rrggbb", onto the canvas, pixel for pixel; nothing else
/// stays on it.
function paintMasks(masks, colour, canvas) {
  const {width, height} = canvas;
  const context = canvas.getContext('2d');
  const image = context.createImageData(width, height);
  const pixels = new Uint32Array(image.data.buffer);
  const [red, green, blue] = [1, 3, 5].map((at) => parseInt(colour.slice(at, at + 2), 16));
  new Uint8Array(image.data.buffer).set([red, green, blue, 255]);
  const ink = pixels[0];
  pixels[0] = 0;
  for (const mask of masks) fillMask(mask, ink, width, height, pixels);
  context.putImageData(image, 0, 0);
}

function fillMask({size: [rows, columns], counts}, ink, width, height, pixels) {
  let at = 0;
  runLengths(counts).forEach((length, i) => {
    const end = Math.min(at + length, rows * columns);
    for (; i % 2 === 1 && at < end; ++at) {
      const row = at % rows;
      const column = (at - row) / rows;
      if (row < height && column < width) pixels[row * width + column] = ink;
    }
    at = end;
  });
}

/// Copies of one canvas onto another of its size what lies in the boxes, as the whole pixels that
/// they touch; all of it where `boxes` is null.
function copyBoxes(from, boxes, to) {
  const context = to.getContext('2d');
  const {width, height} = to;
  context.clearRect(0, 0, width, height);
  for (const [left, top, right, bottom] of boxes ?? [[0, 0, width, height]]) {
    const [x, y] = [Math.floor(left), Math.floor(top)];
    const place = [x, y, Math.ceil(right) - x, Math.ceil(bottom) - y];
    context.drawImage(from, ...place, ...place);
  }
}
