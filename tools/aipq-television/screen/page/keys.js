// The keys of the television and the controls of their values.
'use strict';

const FIRST_GROUP = 'Picture settings';
const ALL_GROUPS = 'All';

const rows = new Map();  // the panel's rows, by key

// A control of a value. `show` displays a new value unless the user is editing.
function slider(key) {
  const [lowest, highest] = key.range;
  const range = element('input', {type: 'range', min: lowest, max: highest, 'aria-label': key.meaning});
  const number = textField(key, key.meaning + ' as a number');
  let wanted = null;
  let sending = false;
  // Sends one request at a time and skips intermediate positions of a fast movement.
  const send = async () => {
    if (sending) return;
    sending = true;
    while (wanted !== null) {
      const value = wanted;
      wanted = null;
      await change('value', {key: key.name, value});
    }
    sending = false;
    show(values.get(key.name));
  };
  range.addEventListener('input', () => {
    wanted = range.valueAsNumber;
    fill();
    send();
  });
  const fill = () => {
    range.style.setProperty('--part', (range.valueAsNumber - lowest) / (highest - lowest));
  };
  const show = (value) => {
    number.show(value);
    if (sending) return;
    range.value = value;
    fill();
  };
  return {parts: [range, number.parts[0]], show};
}

function toggle(key) {
  const box = element('input', {type: 'checkbox', role: 'switch', className: 'switch', 'aria-label': key.meaning});
  const show = (value) => { box.checked = value !== 0; };
  box.addEventListener('change', async () => {
    await change('value', {key: key.name, value: box.checked ? 1 : 0});
    show(values.get(key.name));
  });
  return {parts: [box], show, compact: true};
}

// `read` converts the text to a value, `write` converts a value to text.
function field(key, label, input, read, write) {
  input.setAttribute('aria-label', label);
  input.spellcheck = false;
  let shown = '';
  const show = (value) => {
    const edited = input === document.activeElement && input.value !== shown;
    shown = write(value);
    if (!edited) input.value = shown;
  };
  input.addEventListener('change', async () => {
    if (input.value === shown) return;
    shown = input.value;
    await change('value', {key: key.name, value: read(input.value)});
    shown = input.value;
    show(values.get(key.name));
  });
  input.addEventListener('keydown', (event) => {
    if (event.key === 'Escape') input.value = shown;
    // Without this, only losing the focus causes a change event.
    if (event.key === 'Enter' && (event.ctrlKey || input.tagName === 'INPUT')) {
      input.dispatchEvent(new Event('change'));
      event.preventDefault();
    }
  });
  return {parts: [input], show};
}

const textField = (key, label) =>
  field(key, label, element('input', {type: 'text'}), (text) => text, (value) => String(value));

const numbersField = (key) =>
  field(key, key.meaning + ', separated by commas', element('textarea', {rows: 2}),
        (text) => text.split(',').map((part) => part.trim()).filter((part) => part !== ''),
        (value) => value.join(', '));

const textsField = (key) =>
  field(key, key.meaning + ', one in each line', element('textarea', {rows: 4}),
        (text) => text.split('\n'), (value) => value.join('\n'));

function control(key) {
  if (key.type === 'integers') return numbersField(key);
  if (key.type === 'strings') return textsField(key);
  if (key.type === 'action') return {parts: [element('em', {textContent: 'invoked by clients'})], show() {}};
  if (key.type === 'table') {
    const table = element('table');
    return {parts: [table], show: () => showChannels(table)};
  }
  if (!key.range) return textField(key, key.meaning);
  return key.range[0] === 0 && key.range[1] === 1 ? toggle(key) : slider(key);
}

function showChannels(table) {
  const head = element('tr', {}, ...status.columns.map((name) => element('th', {scope: 'col', textContent: name})));
  const body = status.channels.map((row, index) => element('tr', {className: index === status.channel ? 'on' : ''},
    ...row.map((text) => element('td', {textContent: text}))));
  table.replaceChildren(element('thead', {}, head), element('tbody', {}, ...body));
}

function keyRow(key) {
  const made = control(key);
  const range = key.range ? `${key.range[0]} to ${key.range[1]}` : key.type;
  const row = element('div', {className: 'key ' + (made.compact ? 'compact' : ''), title: `${key.name}\n${key.meaning}\n${range}`},
    element('span', {className: 'meaning', textContent: key.meaning}),
    element('span', {className: 'name'}, element('code', {textContent: key.name}),
            element('span', {className: 'range', textContent: made.compact ? '' : range})),
    element('div', {className: 'control ' + key.type}, ...made.parts));
  row.dataset.key = key.name;
  rows.set(key.name, {row, show: made.show});
  values.set(key.name, key.value);
  made.show(key.value);
  return row;
}

function showGroup(name) {
  const chosen = name === ALL_GROUPS ? null : name;
  for (const group of byId('key-rows').children) group.hidden = chosen !== null && group.dataset.group !== chosen;
  for (const button of byId('groups').children) press(button, button.textContent === name);
}

// Builds the key groups in the television's order. One group is visible at a time.
function buildKeys(keys) {
  const groups = new Map();
  rows.clear();
  for (const key of keys) groups.set(key.group, [...groups.get(key.group) || [], keyRow(key)]);
  byId('key-rows').replaceChildren(...[...groups].map(([name, members]) => {
    const group = element('div', {}, element('h3', {textContent: name}), ...members);
    group.dataset.group = name;
    return group;
  }));
  const names = [...groups.keys(), ALL_GROUPS];
  byId('groups').replaceChildren(...names.map((name) => {
    const button = element('button', {type: 'button', textContent: name});
    button.addEventListener('click', () => {
      showGroup(name);
      byId('keys').scrollTop = 0;
      remember('group', name);
    });
    return button;
  }));
  showGroup([remembered('group'), FIRST_GROUP].find((name) => names.includes(name)) || ALL_GROUPS);
}

function takeValue(name, value) {
  values.set(name, value);
  const shown = rows.get(name);
  if (!shown) return;
  shown.show(value);
  shown.row.classList.remove('changed');
  void shown.row.offsetWidth;  // restarts the animation
  shown.row.classList.add('changed');
  showFacts();
}
