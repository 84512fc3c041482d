// The connection to the television, and the start of the page.
'use strict';

let endFollowing = () => {};

function showConnection(text, isUp) {
  const connection = byId('connection');
  if (connection.textContent !== text) connection.textContent = text;
  connection.classList.toggle('up', isUp);
}

function showName(name, isUp) {
  byId('name').textContent = name;
  document.title = name + (isUp ? '' : ' (no answer)') + ' – simulated television';
}

// Marks the page as disconnected: it still shows the last known state, and nothing can be changed.
function showGone(reason) {
  showConnection(reason, false);
  if (byId('name').textContent) showName(byId('name').textContent, false);
  document.body.classList.add('gone');
  document.body.classList.remove('recording');
  for (const controls of document.querySelectorAll('fieldset')) controls.disabled = true;
  for (const lamp of document.querySelectorAll('fieldset [aria-pressed=true]')) press(lamp, false);
  offerRecording(true);
}

function showThere(name) {
  document.body.classList.remove('gone');
  showName(name, true);
  showConnection('connected', true);
  for (const controls of document.querySelectorAll('fieldset')) controls.disabled = false;
  offerRecording(false);
}

// Loads the whole state, then applies changes until the connection breaks or the page is hidden.
async function follow() {
  const answer = await ask('state');
  const state = await answer.json();
  if (!answer.ok) throw new Error(state.error);
  status = state.status;
  showThere(state.name);
  buildKeys(state.keys);
  buildRemote(state.powers, state.notifications);
  buildFaults(state.faults, state.keys);
  takeStatus(state.status);
  byId('log-lines').replaceChildren();
  addToLog(state.log);
  await new Promise((done) => {
    const events = new EventSource('events?after=' + state.last);
    const end = () => {
      events.close();
      document.removeEventListener('visibilitychange', endWhenHidden);
      done();
    };
    // A browser allows only a few connections to one address. A hidden tab closes its connection.
    const endWhenHidden = () => { if (document.hidden) end(); };
    document.addEventListener('visibilitychange', endWhenHidden);
    endFollowing = end;
    events.onerror = end;
    events.addEventListener('missed', end);
    events.addEventListener('status', (event) => takeStatus(JSON.parse(event.data)));
    events.addEventListener('log', (event) => {
      const line = JSON.parse(event.data);
      if ('key' in line) takeValue(line.key, line.value);
      addToLog([line]);
    });
  });
}

async function stayConnected() {
  for (;;) {
    const started = performance.now();
    if (!document.hidden) {
      try {
        await follow();
      } catch (error) {
        showGone(error.name === 'Error' ? error.message : 'no answer since ' + clockTime(lastResponse));
      }
    }
    // After a connection that lasted, reconnect at once.
    await wait(Math.max(0, RETRY_MS - (performance.now() - started)));
  }
}

function listenToPanel() {
  const tabs = [...document.querySelectorAll('[role=tab]')];
  const select = (chosen) => {
    for (const tab of tabs) {
      tab.setAttribute('aria-selected', String(tab === chosen));
      tab.tabIndex = tab === chosen ? 0 : -1;
      byId(tab.getAttribute('aria-controls')).hidden = tab !== chosen;
    }
    remember('tab', chosen.id);
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
  select(tabs.find((tab) => tab.id === remembered('tab')) || tabs[0]);
  byId('fault-key').addEventListener('change', showFaultRows);
  byId('clear-faults').addEventListener('click', () => change('clear-faults', {}));
}

// The browser now has the token as a cookie. Remove it from the address bar, which other people may see.
history.replaceState(null, '', location.pathname);
listenToPanel();
listenToRemote();
listenToDesk();
listenToLog();
stayConnected();
pictures();
keepRecording();
