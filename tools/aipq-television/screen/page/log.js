// The log.
'use strict';

const LOG_LINES = 500;

function logLine({time, kind, text}) {
  const date = new Date(time);
  const clock = clockTime(date) + '.' + String(date.getMilliseconds()).padStart(3, '0');
  const line = element('li', {className: 'kind-' + kind}, element('time', {textContent: clock}),
                       element('b', {textContent: kind}), element('span', {textContent: text}));
  filterLine(line);
  return line;
}

function filterLine(line) {
  line.hidden = !line.textContent.toLowerCase().includes(byId('log-filter').value.toLowerCase());
}

function addToLog(lines) {
  const list = byId('log-lines');
  const atEnd = list.scrollHeight - list.scrollTop - list.clientHeight < 40;
  list.append(...lines.map(logLine));
  while (list.children.length > LOG_LINES) list.firstElementChild.remove();
  if (atEnd) list.scrollTop = list.scrollHeight;
}


function listenToLog() {
  byId('log-clear').addEventListener('click', () => byId('log-lines').replaceChildren());
  byId('log-filter').addEventListener('input', () => {
    for (const line of byId('log-lines').children) filterLine(line);
  });
}
