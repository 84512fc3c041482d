// The picture on the screen.
'use strict';

const PICTURE_INTERVAL_MS = 100;

let noPicture = '';     // why there is none
let pictureTag = '';    // of the one that is shown
let pictureTimes = [];  // arrival times of the last two seconds
let picturesSince = 0;  // start of the current uninterrupted sequence; 0 for none

function showNothing() {
  const nothing = byId('nothing');
  const [title, reason] = status.suspended ? ['Suspended', 'to RAM'] : noPicture ? ['No picture', noPicture] : ['', ''];
  nothing.hidden = title === '';
  nothing.firstElementChild.textContent = title;
  nothing.lastElementChild.textContent = reason;
  byId('glow').hidden = title !== '';
}

// The number of different pictures a second.
function pictureRate() {
  const now = performance.now();
  pictureTimes = pictureTimes.filter((time) => now - time < 2000);
  const seconds = Math.min(now - picturesSince, 2000) / 1000;
  if (seconds < 1) return '';
  const rate = Math.round(pictureTimes.length / seconds);
  if (pictureTimes.length === 0) return ' · still picture';
  return rate < 1 ? ' · less than 1 picture a second' : ` · ${rate} picture${rate === 1 ? '' : 's'} a second`;
}

function caption(luma) {
  const what = status.film ? status.film : 'generated scenes';
  const gone = document.body.classList.contains('gone');
  byId('caption').textContent = gone ? 'The page reconnects when the television returns'
    : noPicture ? 'The picture returns as soon as it is available'
    : `${what} · mean luma ${luma}${pictureRate()}`;
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

// Fetches the picture if it has changed. Returns the mean luma of the displayed picture.
async function fetchPicture(lumaBefore) {
  const answer = await ask('picture.jpg', {headers: {'If-None-Match': pictureTag}});
  if (answer.status === 304) {
    noPicture = '';
    return lumaBefore;
  }
  if (!answer.ok) {
    noPicture = (await answer.json()).error;
    return lumaBefore;
  }
  const bitmap = await createImageBitmap(await answer.blob());
  const luma = draw(bitmap);
  bitmap.close();
  pictureTag = answer.headers.get('ETag');
  pictureTimes.push(performance.now());
  noPicture = '';
  return luma;
}

async function pictures() {
  for (let luma = 0;;) {
    const started = performance.now();
    if (document.hidden) {
      await wait(PICTURE_INTERVAL_MS);
      continue;
    }
    try {
      luma = await fetchPicture(luma);
    } catch {
      noPicture = 'the television does not answer';
      endFollowing();
    }
    if (noPicture) [pictureTag, pictureTimes, picturesSince] = ['', [], 0];
    else if (!picturesSince) picturesSince = started;
    showNothing();
    caption(luma);
    const pause = noPicture ? RETRY_MS / 2 : PICTURE_INTERVAL_MS - (performance.now() - started);
    await wait(Math.max(0, pause));
  }
}
