// Faults of the television and of its keys.
'use strict';

let faultDefinitions = [];
const faultRows = [];  // the visible rows

const faultValue = (name, key) => {
  const active = (status.faults || []).find((fault) => fault.name === name && fault.key === key);
  return active ? active.value : faultDefinitions.find((fault) => fault.name === name).harmless;
};

function setFault(fault, key, value) {
  const request = {fault: fault.name, value};
  if (fault.ofKey) request.key = key;
  return change('fault', request);
}

function faultRow(fault, key) {
  const isFlag = fault.kind === 'flag';
  const input = element('input', isFlag ? {type: 'checkbox', role: 'switch', className: 'switch'}
                                        : {type: 'text', inputMode: 'numeric'});
  input.setAttribute('aria-label', `${fault.name}: ${fault.meaning}`);
  const show = () => {
    const value = faultValue(fault.name, key);
    if (isFlag) input.checked = value !== 0;
    else if (input !== document.activeElement) input.value = value;
    row.classList.toggle('active', value !== fault.harmless);
  };
  input.addEventListener('change', async () => {
    const done = await setFault(fault, key, isFlag ? Number(input.checked) : input.value.trim());
    if (!done) input[isFlag ? 'checked' : 'value'] = isFlag ? !input.checked : faultValue(fault.name, key);
  });
  const unit = fault.kind === 'milliseconds' ? element('span', {className: 'unit', textContent: 'ms'}) : '';
  const row = element('div', {className: 'fault'},
    element('div', {}, element('span', {className: 'meaning', textContent: fault.meaning}),
            element('code', {textContent: fault.name})),
    element('div', {className: 'control'}, input, unit));
  row.dataset.fault = fault.name;
  show();
  faultRows.push(show);
  return row;
}

function showFaultRows() {
  faultRows.length = 0;
  const key = byId('fault-key').value;
  byId('television-faults').replaceChildren(
    ...faultDefinitions.filter((fault) => !fault.ofKey).map((fault) => faultRow(fault, '')));
  byId('key-faults').replaceChildren(
    ...faultDefinitions.filter((fault) => fault.ofKey).map((fault) => faultRow(fault, key)));
}

function buildFaults(definitions, keys) {
  faultDefinitions = definitions;
  const chosen = byId('fault-key').value;
  byId('fault-key').replaceChildren(...keys.map((key) => element('option', {value: key.name, textContent: key.name})));
  if (rows.has(chosen)) byId('fault-key').value = chosen;
  showFaultRows();
}

function showFaults() {
  const active = status.faults || [];
  for (const show of faultRows) show();
  byId('fault-count').hidden = active.length === 0;
  byId('fault-count').textContent = active.length;
  byId('clear-faults').disabled = active.length === 0;
  byId('active-faults').replaceChildren(...active.map((fault) => {
    const definition = faultDefinitions.find((candidate) => candidate.name === fault.name);
    const end = element('button', {type: 'button', textContent: '×', 'aria-label': `Clear ${fault.name} ${fault.key}`});
    end.addEventListener('click', () => setFault(definition, fault.key, definition.harmless));
    return element('li', {}, element('code', {textContent: `${fault.name} = ${fault.value}`}),
                   element('code', {className: 'of', textContent: fault.key}), end);
  }));
  if (active.length === 0) byId('active-faults').append(element('li', {className: 'none', textContent: 'No fault'}));
  for (const [name, {row}] of rows) row.classList.toggle('faulty', active.some((fault) => fault.key === name));
}
