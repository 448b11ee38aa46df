'use strict';
// All detections as a table. TanStack Table sorts, filters and pages; the rows are made here.

const kColumns = [
  {id: 'frame', title: 'Frame', accessorFn: (row) => row.index + 1, class: 'number place'},
  {id: 'file', title: 'File', accessorFn: (row) => nameOf(row.frame), class: 'file'},
  {id: 'label', title: 'Label', accessorFn: (row) => labelOf(row.label).name, class: 'label'},
  {id: 'score', title: 'Score', accessorFn: (row) => row.frame.scores[row.detection], class: 'number'},
  {id: 'verdict', title: 'Verdict', accessorFn: (row) => row.candidate ? row.candidate.verdict : ''},
  {id: 'x', title: 'x', accessorFn: (row) => row.box[0], class: 'number extent'},
  {id: 'y', title: 'y', accessorFn: (row) => row.box[1], class: 'number extent'},
  {id: 'width', title: 'Width', accessorFn: (row) => row.box[2] - row.box[0], class: 'number extent'},
  {id: 'height', title: 'Height', accessorFn: (row) => row.box[3] - row.box[1], class: 'number extent'},
];

if (against !== null) {
  kColumns.push({id: 'change', title: 'Change', accessorFn: (row) => changeOf(row.frame, row.detection), class: 'change'});
}

const kPageSize = 25;

function detectionRows() {
  return frames.flatMap((frame, index) => frame.labels.map((label, detection) => ({
    frame, index, detection, label,
    box: frame.boxes[detection], candidate: candidateOf(frame, detection),
  })));
}

/// What a person filters by: the slider, the switches, the text and the verdict.
function matches({original}) {
  const {frame, detection, candidate} = original;
  const verdict = byId('verdict').value;
  if (!isFrameShown(frame) || !isShown(frame, detection)) return false;
  if (verdict && (!candidate || candidate.verdict !== verdict)) return false;
  const text = byId('find').value.trim().toLowerCase();
  return !text || frame.source.toLowerCase().includes(text) || nameOf(frame).toLowerCase().includes(text) ||
    labelOf(original.label).name.toLowerCase().includes(text);
}

function cellContent(column, row) {
  const value = row.getValue(column);
  const {index, detection, label, candidate} = row.original;
  if (column === 'file') {
    return [make('button', {
      type: 'button', class: 'link', title: row.original.frame.source,
      onclick: () => openViewer(index, detection),
    }, fileName(value))];
  }
  if (column === 'label') return [swatch(labelOf(label).colour), ' ', value];
  if (column === 'score') return [value.toFixed(2)];
  if (column === 'verdict') return [verdictText(candidate)];
  if (column === 'change') return [value];
  return [column === 'frame' ? String(value) : value.toFixed(0)];
}

const bodyRow = (row) => make('tr', {}, ...kColumns.map((column) =>
  make('td', {class: column.class}, ...cellContent(column.id, row))));

function makeTable(render) {
  const table = TableCore.createTable({
    data: detectionRows(),
    columns: kColumns,
    state: {},
    onStateChange: () => {},
    renderFallbackValue: '',
    globalFilterFn: matches,
    getColumnCanGlobalFilter: () => true,
    sortDescFirst: false,
    enableSortingRemoval: true,
    autoResetPageIndex: false,
    getCoreRowModel: TableCore.getCoreRowModel(),
    getFilteredRowModel: TableCore.getFilteredRowModel(),
    getSortedRowModel: TableCore.getSortedRowModel(),
    getPaginationRowModel: TableCore.getPaginationRowModel(),
  });
  let state = {...table.initialState, pagination: {pageIndex: 0, pageSize: kPageSize}};
  const apply = (update) => {
    state = typeof update === 'function' ? update(state) : update;
    table.setOptions((options) => ({...options, state}));
    render();
  };
  table.setOptions((options) => ({...options, state, onStateChange: apply}));
  return table;
}

const kOrder = {asc: ['ascending', '\u25b2'], desc: ['descending', '\u25bc']};

function setUpHead(table) {
  const heads = kColumns.map((column) => {
    const mark = make('span', {class: 'order', 'aria-hidden': 'true'});
    const button = make('button', {
      type: 'button', 'data-column': column.id,
      onclick: () => table.getColumn(column.id).toggleSorting(),
    }, column.title, mark);
    return {column, mark, cell: make('th', {scope: 'col', class: column.class}, button)};
  });
  byId('detections').tHead.append(make('tr', {}, ...heads.map((head) => head.cell)));
  return () => {
    for (const {column, mark, cell} of heads) {
      const [order, sign] = kOrder[table.getColumn(column.id).getIsSorted()] || ['none', '\u2195'];
      cell.setAttribute('aria-sort', order);
      mark.textContent = sign;
    }
  };
}

function setUpTable() {
  let renderHead = () => {};
  const render = () => {
    const found = table.getFilteredRowModel().rows.length;
    const all = table.getCoreRowModel().rows.length;
    const pages = Math.max(1, table.getPageCount());
    const page = table.getState().pagination.pageIndex;
    renderHead();
    byId('detections').tBodies[0].replaceChildren(...table.getRowModel().rows.map(bodyRow));
    byId('table-count').textContent = `${found} of ${plural(all, findingWord)}`;
    for (const part of byId('table-section').querySelectorAll('.table-tools, .scroll, .pages')) {
      part.hidden = all === 0;
    }
    byId('table-hint').hidden = found > 0;
    byId('table-hint').textContent = all === 0 ? 'Nothing was found.'
      : 'No detection is left by the slider, the switches and the fields above.';
    byId('page-number').textContent = `Page ${page + 1} of ${pages}`;
    byId('page-before').disabled = !table.getCanPreviousPage();
    byId('page-after').disabled = !table.getCanNextPage();
  };
  const table = makeTable(render);
  renderHead = setUpHead(table);
  byId('page-before').addEventListener('click', () => table.previousPage());
  byId('page-after').addEventListener('click', () => table.nextPage());
  // A new value each time, since the table filters again only when it changes.
  let turn = 0;
  const filterAgain = () => {
    table.setPageIndex(0);
    table.setGlobalFilter({turn: ++turn});
  };
  byId('find').addEventListener('input', filterAgain);
  byId('verdict').addEventListener('change', filterAgain);
  keepFresh(filterAgain);
}
