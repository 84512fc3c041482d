'use strict';

// Keys that the remote control sets itself.
const SOURCE = 'dovra.sl2.str.source.current.path';
const AIPQ = 'dovra.sl2.i32.video.aipq.user.switch.osd';
const FORMAT = 'dovra.sl2.str.video.format.info';
const HDR = 'dovra.sl2.str.servicemode.videoinfo.hdrtype';
const SOURCES = ['TV', 'HDMI1', 'HDMI2', 'HDMI3', 'HDMI4', 'HDMI5', 'HDMI6', 'AVS', 'dmp', 'miracast', 'youtube',
                 'netflix', 'amazon', 'browser'];

const PICTURE_INTERVAL_MS = 100;
const RETRY_MS = 1000;
const DIGIT_WAIT_MS = 1200;
const LOG_LINES = 500;

const byId = (id) => document.getElementById(id);

// Everything that the television says becomes text, never markup.
function element(tag, properties = {}, ...children) {
  const made = document.createElement(tag);
  for (const [name, value] of Object.entries(properties)) {
    if (name.includes('-') || name === 'role') made.setAttribute(name, value);
    else made[name] = value;
  }
  made.append(...children);
  return made;
}

const wait = (ms) => new Promise((done) => setTimeout(done, ms));

// --- Messages -------------------------------------------------------------------------------------------------

let messageTimer = 0;

function say(text, isError) {
  const message = byId('message');
  message.textContent = text;
  message.classList.toggle('error', isError);
  message.hidden = false;
  clearTimeout(messageTimer);
  messageTimer = setTimeout(() => { message.hidden = true; }, 6000);
}

// Whether the television did it.
async function change(path, wish) {
  try {
    const answer = await fetch(path, {
      method: 'POST', headers: {'Content-Type': 'application/json'}, body: JSON.stringify(wish),
    });
    const {error, notice} = await answer.json();
    if (error) say(error, true);
    else if (notice) say(notice, false);
    else byId('message').hidden = true;
    return answer.ok;
  } catch {
    say('The television does not answer', true);
    return false;
  }
}

// --- Values ---------------------------------------------------------------------------------------------------

const values = new Map();
const rows = new Map();  // of the panel, by key
let status = {};

// A control of a value: `show` brings a value in, unless the user is about to change it.
function slider(key) {
  const [lowest, highest] = key.range;
  const range = element('input', {type: 'range', min: lowest, max: highest, 'aria-label': key.meaning});
  const number = textField(key, key.meaning + ' as a number');
  let wanted = null;
  let sending = false;
  // One request at a time: what a fast hand passes on the way is left out.
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

// `read` makes a value of the text, `write` a text of the value.
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
    // A change event follows from losing the focus only.
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

function buildKeys(keys) {
  const panel = byId('key-rows');
  panel.replaceChildren();
  byId('groups').replaceChildren();
  rows.clear();
  let group = null;
  for (const key of keys) {
    if (key.group !== group) {
      group = key.group;
      const title = element('h3', {textContent: group});
      const jump = element('button', {type: 'button', textContent: group});
      jump.addEventListener('click', () => title.scrollIntoView());
      byId('groups').append(jump);
      panel.append(title);
    }
    const made = control(key);
    const range = key.range ? `${key.range[0]} to ${key.range[1]}` : key.type;
    const row = element('div', {className: 'key ' + (made.compact ? 'compact' : ''), title: `${key.name}\n${key.meaning}\n${range}`},
      element('span', {className: 'meaning', textContent: key.meaning}),
      element('span', {className: 'name'}, element('code', {textContent: key.name}),
              element('span', {className: 'range', textContent: made.compact ? '' : range})),
      element('div', {className: 'control ' + key.type}, ...made.parts));
    row.dataset.key = key.name;
    panel.append(row);
    rows.set(key.name, {row, show: made.show});
    values.set(key.name, key.value);
    made.show(key.value);
  }
}

function takeValue(name, value) {
  values.set(name, value);
  const shown = rows.get(name);
  if (!shown) return;
  shown.show(value);
  shown.row.classList.remove('changed');
  void shown.row.offsetWidth;  // so that the animation starts anew
  shown.row.classList.add('changed');
  showFacts();
}

// --- What is on -----------------------------------------------------------------------------------------------

function channelNow() {
  const row = (status.channels || [])[status.channel];
  if (!row) return null;
  const cell = (name) => row[status.columns.indexOf(name)] || '';
  return {number: cell('number'), name: cell('name')};
}

function showFacts() {
  const channel = channelNow();
  const onChannel = values.get(SOURCE) === 'TV' && channel;
  const facts = [
    ['Source', values.get(SOURCE)],
    ['Channel', onChannel ? `${channel.number} ${channel.name}` : null],
    ['Format', values.get(FORMAT) || 'no video'],
    ['HDR', values.get(HDR)],
    ['Frames delivered', status.frames],
    ['Applications', (status.applications || []).join(', ') || 'none'],
  ];
  byId('facts').replaceChildren(...facts.filter(([, value]) => value !== null && value !== undefined)
    .map(([name, value]) => element('li', {}, element('span', {textContent: name}), String(value))));

  for (const button of byId('sources').children)
    button.setAttribute('aria-pressed', String(button.textContent === values.get(SOURCE)));
  byId('aipq').setAttribute('aria-pressed', String(values.get(AIPQ) === 1));
  byId('aipq').disabled = !values.has(AIPQ);
}

let bannerTimer = 0;

function showBanner(text) {
  const banner = byId('banner');
  banner.textContent = text;
  banner.classList.add('on');
  clearTimeout(bannerTimer);
  bannerTimer = setTimeout(() => banner.classList.remove('on'), 2500);
}

function takeStatus(news) {
  const before = status;
  status = news;
  byId('video').setAttribute('aria-pressed', String(status.video));
  const play = byId('play');
  play.firstElementChild.textContent = status.playing ? '❚❚' : '▶';
  play.lastElementChild.textContent = status.playing ? 'Pause' : 'Play';
  for (const {row, show} of rows.values())
    if (row.querySelector('table')) show();
  const channel = channelNow();
  if (channel && before.channel !== undefined && before.channel !== status.channel)
    showBanner(`${channel.number}  ${channel.name}`);
  showFacts();
  showFaults();
  showNothing();
}

// --- The picture ----------------------------------------------------------------------------------------------

let noPicture = '';
let pictureTimes = [];

function showNothing() {
  const nothing = byId('nothing');
  const [title, reason] = status.suspended ? ['Suspended', 'to RAM'] : noPicture ? ['No picture', noPicture] : ['', ''];
  nothing.hidden = title === '';
  nothing.firstElementChild.textContent = title;
  nothing.lastElementChild.textContent = reason;
  byId('glow').hidden = title !== '';
}

function caption(luma) {
  const now = performance.now();
  pictureTimes = pictureTimes.filter((time) => now - time < 2000);
  const what = status.film ? status.film : 'generated scenes';
  byId('caption').textContent = noPicture
    ? 'the picture comes back by itself when the video pipeline does'
    : `${what} · mean luma ${luma} · ${Math.round(pictureTimes.length / 2)} pictures a second`;
}

function draw(bitmap) {
  const picture = byId('picture');
  if (picture.width !== bitmap.width || picture.height !== bitmap.height) {
    picture.width = bitmap.width;
    picture.height = bitmap.height;
  }
  picture.getContext('2d').drawImage(bitmap, 0, 0);
  const small = byId('glow').getContext('2d', {willReadFrequently: true});
  small.drawImage(bitmap, 0, 0, 32, 18);
  const {data} = small.getImageData(0, 0, 32, 18);
  let luma = 0;
  for (let i = 0; i < data.length; i += 4)
    luma += 0.2126 * data[i] + 0.7152 * data[i + 1] + 0.0722 * data[i + 2];
  return Math.round(luma / (data.length / 4));
}

async function pictures() {
  for (;;) {
    const started = performance.now();
    let luma = 0;
    try {
      if (document.hidden) {
        await wait(PICTURE_INTERVAL_MS);
        continue;
      }
      const answer = await fetch('picture.jpg');
      if (answer.ok) {
        const bitmap = await createImageBitmap(await answer.blob());
        luma = draw(bitmap);
        bitmap.close();
        pictureTimes.push(performance.now());
        noPicture = '';
      } else {
        noPicture = (await answer.json()).error;
      }
    } catch {
      noPicture = 'the television does not answer';
    }
    showNothing();
    caption(luma);
    const pause = noPicture ? RETRY_MS / 2 : PICTURE_INTERVAL_MS - (performance.now() - started);
    await wait(Math.max(0, pause));
  }
}

// --- The remote control ---------------------------------------------------------------------------------------

let digits = '';
let digitTimer = 0;

function tune() {
  clearTimeout(digitTimer);
  const channel = digits;
  digits = '';
  change('remote', {channel});
}

// A number is complete when no longer one begins with it, or after a while.
function pressDigit(digit) {
  digits += digit;
  showBanner(digits);
  clearTimeout(digitTimer);
  const column = (status.columns || []).indexOf('number');
  const longer = (status.channels || []).some((row) => row[column].startsWith(digits) && row[column] !== digits);
  if (longer) digitTimer = setTimeout(tune, DIGIT_WAIT_MS);
  else tune();
}

function buildRemote(powers) {
  byId('digits').replaceChildren(...['1', '2', '3', '4', '5', '6', '7', '8', '9', '0'].map((digit) => {
    const button = element('button', {type: 'button', textContent: digit, 'aria-label': 'Channel ' + digit});
    button.addEventListener('click', () => pressDigit(digit));
    return button;
  }));
  byId('sources').replaceChildren(...(values.has(SOURCE) ? SOURCES : []).map((source) => {
    const button = element('button', {type: 'button', textContent: source});
    button.addEventListener('click', () => change('value', {key: SOURCE, value: source}));
    return button;
  }));
  byId('powers').replaceChildren(...powers.map(({name, label}) => {
    const button = element('button', {type: 'button', textContent: label});
    button.dataset.power = name;
    button.addEventListener('click', () => change('power', {power: name}));
    return button;
  }));
}

const togglePlaying = () => change('remote', {playing: !status.playing});

function listenToRemote() {
  for (const button of document.querySelectorAll('[data-channel]'))
    button.addEventListener('click', () => change('remote', {channel: button.dataset.channel}));
  byId('play').addEventListener('click', togglePlaying);
  byId('video').addEventListener('click', () => change('video', {on: !status.video}));
  byId('aipq').addEventListener('click', () => change('value', {key: AIPQ, value: values.get(AIPQ) === 1 ? 0 : 1}));
  document.addEventListener('keydown', (event) => {
    if (event.ctrlKey || event.altKey || event.metaKey) return;
    if (event.target.closest('input, textarea, select, #log-lines, [role=tabpanel]')) return;
    if (event.key === 'PageUp') change('remote', {channel: '+1'});
    else if (event.key === 'PageDown') change('remote', {channel: '-1'});
    else if (event.key === 'p') togglePlaying();
    else if (/^[0-9]$/.test(event.key)) pressDigit(event.key);
    else return;
    event.preventDefault();
  });
}

// --- Faults ---------------------------------------------------------------------------------------------------

let faultDefinitions = [];
const faultRows = [];  // those that can be seen

const faultValue = (name, key) => {
  const active = (status.faults || []).find((fault) => fault.name === name && fault.key === key);
  return active ? active.value : faultDefinitions.find((fault) => fault.name === name).harmless;
};

function setFault(fault, key, value) {
  const wish = {fault: fault.name, value};
  if (fault.ofKey) wish.key = key;
  return change('fault', wish);
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

// --- The log --------------------------------------------------------------------------------------------------

function logLine({time, kind, text}) {
  const date = new Date(time);
  const clock = date.toLocaleTimeString('en-GB') + '.' + String(date.getMilliseconds()).padStart(3, '0');
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

// --- The line to the television ---------------------------------------------------------------------------------

function showConnection(text, isUp) {
  const connection = byId('connection');
  if (connection.textContent !== text) connection.textContent = text;
  connection.classList.toggle('up', isUp);
}

// Everything anew, then what changes, until the line breaks or nobody looks.
async function follow() {
  const answer = await fetch('state');
  const state = await answer.json();
  if (!answer.ok) throw new Error(state.error);
  status = state.status;
  buildKeys(state.keys);
  buildRemote(state.powers);
  buildFaults(state.faults, state.keys);
  takeStatus(state.status);
  byId('log-lines').replaceChildren();
  addToLog(state.log);
  showConnection('connected', true);
  await new Promise((done) => {
    const events = new EventSource('events?after=' + state.last);
    const end = () => {
      events.close();
      document.removeEventListener('visibilitychange', endWhenHidden);
      done();
    };
    // A browser has few connections to one address: a tab that nobody looks at needs none.
    const endWhenHidden = () => { if (document.hidden) end(); };
    document.addEventListener('visibilitychange', endWhenHidden);
    events.onerror = () => { showConnection('connection lost', false); end(); };
    events.addEventListener('missed', end);
    events.addEventListener('status', (event) => takeStatus(JSON.parse(event.data)));
    events.addEventListener('news', (event) => {
      const line = JSON.parse(event.data);
      if ('key' in line) takeValue(line.key, line.value);
      addToLog([line]);
    });
  });
}

async function stayConnected() {
  for (;;) {
    if (!document.hidden) {
      try {
        await follow();
      } catch (error) {
        showConnection(error instanceof TypeError ? 'the television does not answer' : error.message, false);
      }
    }
    await wait(document.hidden ? PICTURE_INTERVAL_MS : RETRY_MS);
  }
}

// --- The page ---------------------------------------------------------------------------------------------------

function listenToPanel() {
  const tabs = [...document.querySelectorAll('[role=tab]')];
  const select = (chosen) => {
    for (const tab of tabs) {
      tab.setAttribute('aria-selected', String(tab === chosen));
      tab.tabIndex = tab === chosen ? 0 : -1;
      byId(tab.getAttribute('aria-controls')).hidden = tab !== chosen;
    }
  };
  for (const tab of tabs) {
    tab.addEventListener('click', () => select(tab));
    tab.addEventListener('keydown', (event) => {
      if (event.key !== 'ArrowLeft' && event.key !== 'ArrowRight') return;
      const other = tabs[(tabs.indexOf(tab) + 1) % tabs.length];
      select(other);
      other.focus();
    });
  }
  byId('fault-key').addEventListener('change', showFaultRows);
  byId('clear-faults').addEventListener('click', () => change('clear-faults', {}));
  byId('log-clear').addEventListener('click', () => byId('log-lines').replaceChildren());
  byId('log-filter').addEventListener('input', () => {
    for (const line of byId('log-lines').children) filterLine(line);
  });
}

listenToPanel();
listenToRemote();
stayConnected();
pictures();
