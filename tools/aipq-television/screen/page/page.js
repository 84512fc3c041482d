// Functions shared by all parts of the page. The scripts share one scope; this script is loaded first.
'use strict';

const ANSWER_LIMIT_MS = 5000;
const RETRY_MS = 1000;
const MESSAGE_MS = 6000;

const byId = (id) => document.getElementById(id);

// Inserts the television's texts as text, never as markup.
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
const press = (button, pressed) => button.setAttribute('aria-pressed', String(pressed));
const clockTime = (date) => date.toLocaleTimeString('en-GB');

// Saves a value until the next visit. A browser may forbid that.
function remember(name, value) {
  try { localStorage.setItem(name, value); } catch { /* the page then starts with its defaults */ }
}
function remembered(name) {
  try { return localStorage.getItem(name); } catch { return null; }
}

let status = {};           // what the television said last, beside the values
const values = new Map();  // by key

// The time of the television's last response.
let lastResponse = new Date();
function ask(path, options = {}) {
  return fetch(path, {signal: AbortSignal.timeout(ANSWER_LIMIT_MS), ...options}).then((answer) => {
    lastResponse = new Date();
    return answer;
  });
}

let messageTimer = 0;

function say(text, isError) {
  const message = byId('message');
  message.textContent = text;
  message.classList.toggle('error', isError);
  message.hidden = false;
  clearTimeout(messageTimer);
  messageTimer = setTimeout(() => { message.hidden = true; }, MESSAGE_MS);
}

// Requests a change. Returns true if the television made it.
async function change(path, request) {
  try {
    const answer = await ask(path, {
      method: 'POST', headers: {'Content-Type': 'application/json'}, body: JSON.stringify(request),
      // Starting a film may take longer.
      signal: AbortSignal.timeout(10 * ANSWER_LIMIT_MS),
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
