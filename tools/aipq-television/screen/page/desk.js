// Films, scenarios, recordings and the reset.
'use strict';

const RECORDING_INTERVAL_MS = 1000;

let recording = '';  // the text recorded so far

function showDesk() {
  byId('stop-scenario').hidden = !status.scenario;
  byId('choose-scenario').hidden = status.scenario;
  const record = byId('record');
  press(record, status.recording);
  record.lastElementChild.textContent = status.recording ? 'Stop recording' : 'Record';
  document.body.classList.toggle('recording', status.recording);
}

const showFilm = (film) => change('film', {film});

async function playScenario(file) {
  if (file) await change('scenario', {name: file.name, text: await file.text()});
}

function saveRecording() {
  const link = element('a', {href: URL.createObjectURL(new Blob([recording], {type: 'application/toml'}))});
  link.download = 'recording-' + new Date().toISOString().slice(0, 19).replaceAll(':', '-') + '.toml';
  link.click();
  setTimeout(() => URL.revokeObjectURL(link.href), 60000);
}

async function fetchRecording() {
  const answer = await ask('recording');
  if (answer.ok) recording = await answer.text();
}

// Regularly copies the recording to the page, where it survives the television.
async function keepRecording() {
  for (;;) {
    try {
      if (status.recording) await fetchRecording();
    } catch { /* it is gone, and this is all of it */ }
    await wait(RECORDING_INTERVAL_MS);
  }
}

async function toggleRecording() {
  if (!status.recording) return change('record', {on: true});
  if (!await change('record', {on: false})) return;
  await fetchRecording();
  saveRecording();
}

// Offers the recording of a television that has ended for saving.
function offerRecording(gone) {
  byId('save-recording').hidden = !(gone && status.recording);
}

function listenToDesk() {
  const film = byId('film');
  byId('film-form').addEventListener('submit', (event) => {
    event.preventDefault();
    if (film.value.trim()) showFilm(film.value.trim());
    else film.focus();
  });
  byId('show-scenes').addEventListener('click', () => showFilm(''));
  const file = byId('scenario-file');
  byId('choose-scenario').addEventListener('click', () => file.click());
  file.addEventListener('change', () => {
    playScenario(file.files[0]);
    file.value = '';  // allows choosing the same file again
  });
  byId('stop-scenario').addEventListener('click', () => change('stop-scenario', {}));
  byId('record').addEventListener('click', toggleRecording);
  byId('save-recording').addEventListener('click', saveRecording);
  byId('reset').addEventListener('click', () => change('reset', {}));
}
