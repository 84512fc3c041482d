// The current channel and source, and the remote control.
'use strict';

// The keys that the remote control writes directly.
const SOURCE = 'dovra.sl2.str.source.current.path';
const AIPQ = 'dovra.sl2.i32.video.aipq.user.switch.osd';
const FORMAT = 'dovra.sl2.str.video.format.info';
const HDR = 'dovra.sl2.str.servicemode.videoinfo.hdrtype';
const SOURCES = ['TV', 'HDMI1', 'HDMI2', 'HDMI3', 'HDMI4', 'HDMI5', 'HDMI6', 'AVS', 'dmp', 'miracast', 'youtube',
                 'netflix', 'amazon', 'browser'];

const DIGIT_WAIT_MS = 1200;

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

  for (const button of byId('sources').children) press(button, button.textContent === values.get(SOURCE));
  press(byId('aipq'), values.get(AIPQ) === 1);
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

function takeStatus(newStatus) {
  const before = status;
  status = newStatus;
  press(byId('video'), status.video);
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
  showDesk();
}

let digits = '';
let digitTimer = 0;

function tune() {
  clearTimeout(digitTimer);
  const channel = digits;
  digits = '';
  change('remote', {channel});
}

// A channel number is complete when no longer number begins with it, or after a delay.
function pressDigit(digit) {
  digits += digit;
  showBanner(digits);
  clearTimeout(digitTimer);
  const column = (status.columns || []).indexOf('number');
  const longer = (status.channels || []).some((row) => row[column].startsWith(digits) && row[column] !== digits);
  if (longer) digitTimer = setTimeout(tune, DIGIT_WAIT_MS);
  else tune();
}

// Buttons that post their own name.
function powerButtons(powers) {
  return powers.map(({name, label, hint}) => {
    const button = element('button', {type: 'button', textContent: label, title: hint});
    button.addEventListener('click', () => change('power', {power: name}));
    return button;
  });
}

function buildRemote(powers, notifications) {
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
  byId('powers').replaceChildren(...powerButtons(powers));
  byId('notifications').replaceChildren(...powerButtons(notifications));
}

const togglePlaying = () => change('remote', {playing: !status.playing});

function listenToRemote() {
  for (const button of document.querySelectorAll('[data-channel]'))
    button.addEventListener('click', () => change('remote', {channel: button.dataset.channel}));
  byId('play').addEventListener('click', togglePlaying);
  byId('video').addEventListener('click', () => change('video', {on: !status.video}));
  byId('aipq').addEventListener('click', () => change('value', {key: AIPQ, value: values.get(AIPQ) === 1 ? 0 : 1}));
  document.addEventListener('keydown', (event) => {
    if (event.ctrlKey || event.altKey || event.metaKey || byId('remote').disabled) return;
    if (event.target.closest('input, textarea, select, #log-lines, [role=tabpanel]')) return;
    if (event.key === 'PageUp') change('remote', {channel: '+1'});
    else if (event.key === 'PageDown') change('remote', {channel: '-1'});
    else if (event.key === 'p') togglePlaying();
    else if (/^[0-9]$/.test(event.key)) pressDigit(event.key);
    else return;
    event.preventDefault();
  });
}
