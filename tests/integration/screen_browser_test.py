#!/usr/bin/python3
"""The simulated television's page as its user sees it: in headless Chromium.

screen_browser_test.py AIPQ_TELEVISION CLASS [FOLDER]: runs the tests of CLASS; screenshots go to FOLDER, if given.
"""
import glob
import os
import re
import signal
import subprocess
import sys
import tempfile
import unittest

from selenium import webdriver
from selenium.webdriver.chrome.service import Service
from selenium.webdriver.common.by import By
from selenium.webdriver.common.keys import Keys
from selenium.webdriver.support.ui import Select, WebDriverWait

LIMIT = 30  # seconds

BRIGHTNESS = 'dovra.sl2.i32.video.brightness'
CONTRAST = 'dovra.sl2.i32.video.contrast'
SOURCE = 'dovra.sl2.str.source.current.path'
PQ = 'dovra.sl2.vint.video.aipq.pq.setting'

MEAN_LUMA = """
    const picture = document.getElementById('picture');
    const {data} = picture.getContext('2d').getImageData(0, 0, picture.width, picture.height);
    let sum = 0;
    for (let i = 0; i < data.length; i += 4)
      sum += 0.2126 * data[i] + 0.7152 * data[i + 1] + 0.0722 * data[i + 2];
    return sum / (data.length / 4);
"""


class ABrowser(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        options = webdriver.ChromeOptions()
        for option in ('--headless=new', '--no-sandbox', '--disable-gpu', '--disable-dev-shm-usage'):
            options.add_argument(option)
        options.binary_location = '/usr/bin/chromium'
        cls.browser = webdriver.Chrome(service=Service('/usr/bin/chromedriver'), options=options)
        cls.addClassCleanup(cls.browser.quit)

    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = folder.name
        self.start_television()
        self.addCleanup(self.end_television)

        self.resize(1280, 800)
        self.browser.get(self.url)
        self.browser.execute_script('localStorage.clear()')
        self.browser.get(self.url)
        self.wait_for(lambda: self.text('connection') == 'connected')
        # Select one scene, so that only the settings change the picture.
        self.press('digits', '5')
        self.wait_for(lambda: 'a second' in self.text('caption'))

    def start_television(self, port='0'):
        self.television = subprocess.Popen(
            [sys.argv[1], '--name', 'den', '--screen', port], stdout=subprocess.PIPE, text=True,
            cwd=self.folder, env=dict(os.environ, AIPQ_TV_FOLDER=self.folder))
        for line in self.television.stdout:
            if 'http://' in line:
                break
        self.url = line.split()[-1]
        self.assertTrue(self.url.startswith('http://127.0.0.1:'), self.url)
        self.port = self.url.split(':')[2].split('/')[0]

    def end_television(self, number=signal.SIGTERM):
        self.television.send_signal(number)
        self.television.stdout.close()
        return self.television.wait(LIMIT)

    def resize(self, width, height):
        self.browser.execute_cdp_cmd('Emulation.setDeviceMetricsOverride', {
            'width': width, 'height': height, 'deviceScaleFactor': 1, 'mobile': False})

    def wait_for(self, condition):
        WebDriverWait(self.browser, LIMIT, 0.05).until(lambda _: condition())

    def find(self, css):
        return self.browser.find_element(By.CSS_SELECTOR, css)

    def text(self, name):
        return self.browser.find_element(By.ID, name).text

    def press(self, group, label):
        buttons = self.browser.find_elements(By.CSS_SELECTOR, f'#{group} button')
        next(button for button in buttons if button.text == label).click()

    def input_of(self, key, css='input[type=text]'):
        return self.find(f'[data-key="{key}"] {css}')

    def value_of(self, key, css='input[type=text]'):
        return self.input_of(key, css).get_property('value')

    def type_into(self, field, text):
        field.send_keys(Keys.CONTROL, 'a')
        field.send_keys(text, Keys.ENTER)

    def mean_luma(self):
        return self.browser.execute_script(MEAN_LUMA)

    def log_lines(self):
        return self.text('log-lines')

    def enabled(self, css):
        return [control.get_attribute('outerHTML') for control in self.browser.find_elements(By.CSS_SELECTOR, css)
                if control.is_displayed() and control.is_enabled()]

    def overlap(self, one, other):
        a, b = self.find(one).rect, self.find(other).rect
        return (a['x'] < b['x'] + b['width'] and b['x'] < a['x'] + a['width'] and
                a['y'] < b['y'] + b['height'] and b['y'] < a['y'] + a['height'])

    def width_needed(self):
        return self.browser.execute_script('return document.documentElement.scrollWidth')

    def screenshot(self, name):
        if len(sys.argv) > 3:
            self.browser.save_screenshot(os.path.join(sys.argv[3], name + '.png'))


class ThePage(ABrowser):
    def test_shows_a_brighter_picture_when_the_slider_moves(self):
        self.wait_for(lambda: 40 < self.mean_luma() < 200)
        before = self.mean_luma()
        slider = self.input_of(BRIGHTNESS, 'input[type=range]')
        for _ in range(40):
            slider.send_keys(Keys.ARROW_RIGHT)
        self.wait_for(lambda: self.value_of(BRIGHTNESS) == '90')
        self.wait_for(lambda: self.mean_luma() > before + 50)
        self.assertIn(BRIGHTNESS + ' = 90', self.log_lines())
        self.screenshot('brighter')

    def test_sets_typed_values_and_rejects_invalid_ones(self):
        self.type_into(self.input_of(CONTRAST), '70')
        self.wait_for(lambda: self.value_of(CONTRAST, 'input[type=range]') == '70')
        self.type_into(self.input_of(CONTRAST), '101')
        self.wait_for(lambda: self.text('message') == CONTRAST + ' takes a whole number from 0 to 100')
        self.wait_for(lambda: self.value_of(CONTRAST) == '70')
        self.wait_for(lambda: 'refused' in self.log_lines())
        vector = self.input_of(PQ, 'textarea')
        vector.send_keys(Keys.CONTROL, 'a')
        vector.send_keys('80, 20', Keys.CONTROL, Keys.ENTER)
        self.wait_for(lambda: PQ + ' = [80,20]' in self.log_lines())

    def test_shows_changes_by_other_clients(self):
        self.browser.execute_script(
            "fetch('value', {method: 'POST', headers: {'Content-Type': 'application/json'},"
            " body: JSON.stringify({key: arguments[0], value: '<b>x</b>'})})", SOURCE)
        self.press('groups', 'All')
        self.wait_for(lambda: self.value_of(SOURCE) == '<b>x</b>')
        self.assertIn('<b>x</b>', self.text('facts'))
        self.assertEqual(self.browser.find_elements(By.CSS_SELECTOR, '#facts b, #log-lines span b'), [])

    def test_changes_channel_and_source_with_the_remote_control(self):
        self.press('digits', '2')
        self.wait_for(lambda: '2 Night' in self.text('facts'))
        self.wait_for(lambda: self.mean_luma() < 40)
        self.find('[data-channel="+1"]').click()
        self.wait_for(lambda: '3 Snow' in self.text('facts'))
        self.find('body').send_keys(Keys.PAGE_DOWN)
        self.wait_for(lambda: '2 Night' in self.text('facts'))
        self.press('digits', '9')
        self.wait_for(lambda: self.text('message') == "there is no channel '9'")
        self.press('sources', 'netflix')
        self.wait_for(lambda: self.value_of(SOURCE) == 'netflix')
        self.find('#play').click()
        self.wait_for(lambda: self.text('play').endswith('Play'))
        self.screenshot('remote')

    def test_reports_a_missing_picture_and_its_return(self):
        self.find('#tab-faults').click()
        self.find('[data-fault="video.killed"] input').click()
        self.wait_for(lambda: self.text('nothing') == 'No picture\nthe video pipeline died')
        self.wait_for(lambda: 'video.killed = 1' in self.text('active-faults'))
        self.screenshot('no picture')
        self.find('#clear-faults').click()
        self.wait_for(lambda: not self.find('#nothing').is_displayed())
        self.wait_for(lambda: self.text('active-faults') == 'No fault')
        self.find('#video').click()
        self.wait_for(lambda: 'the video pipeline is off' in self.text('nothing'))

    def test_injects_a_fault_of_a_key(self):
        self.find('#tab-faults').click()
        Select(self.find('#fault-key')).select_by_value(BRIGHTNESS)
        delay = self.find('[data-fault="key.delay"] input')
        self.type_into(delay, '-5')
        self.wait_for(lambda: "the fault 'key.delay' is from 0" in self.text('message'))
        self.type_into(delay, '700')
        self.wait_for(lambda: self.text('fault-count') == '1')
        self.wait_for(lambda: 'key.delay of ' + BRIGHTNESS + ' = 700' in self.log_lines())
        self.screenshot('faults')

    def test_suspends_the_television(self):
        self.press('powers', 'Suspend to RAM')
        self.wait_for(lambda: self.text('nothing') == 'Suspended\nto RAM')
        self.press('powers', 'Wake up')
        self.wait_for(lambda: not self.find('#nothing').is_displayed())
        self.press('notifications', 'Suspend, extended')
        self.wait_for(lambda: self.text('message') == 'no application is registered for notifications')

    def test_names_the_television(self):
        self.assertEqual(self.browser.title, 'den – simulated television')
        self.assertEqual(self.text('name'), 'den')

    def test_opens_on_the_picture_settings_and_remembers_the_view(self):
        shown = lambda: self.browser.execute_script(
            "return [...document.querySelectorAll('#key-rows h3')].filter((h) => h.offsetParent)"
            '.map((h) => h.textContent)')
        self.assertEqual(shown(), ['Picture settings'])
        self.press('groups', 'Channels')
        self.assertEqual(shown(), ['Channels'])
        self.find('#tab-faults').click()
        self.browser.refresh()
        self.wait_for(lambda: self.text('connection') == 'connected')
        self.assertTrue(self.find('#faults').is_displayed())
        self.find('#tab-keys').click()
        self.assertEqual(shown(), ['Channels'])

    def test_counts_the_pictures_per_second(self):
        self.wait_for(lambda: re.search(r'· [1-9]\d* pictures? a second', self.text('caption')))
        self.find('#play').click()
        self.wait_for(lambda: self.text('caption').endswith('still picture'))

    def test_fits_a_desktop_and_a_phone_screen(self):
        for width, height in ((1280, 800), (400, 800)):
            self.resize(width, height)
            self.assertLessEqual(self.width_needed(), width)
            picture = self.find('#picture').size
            self.assertGreater(picture['width'], width * 0.45)
            self.assertAlmostEqual(picture['width'] / picture['height'], 16 / 9, delta=0.05)
            self.screenshot(f'running {width}')

    def test_names_every_control(self):
        names = self.browser.execute_script("""
            return [...document.querySelectorAll('button, input, select, textarea')]
              .filter((control) => !(control.getAttribute('aria-label') || control.textContent.trim()))
              .map((control) => control.outerHTML)""")
        self.assertEqual(names, [])


class ThePageAndItsTelevision(ABrowser):
    def test_reports_a_lost_television_and_reconnects(self):
        self.assertTrue(self.enabled('fieldset button'))
        self.end_television(signal.SIGKILL)
        self.wait_for(lambda: re.fullmatch(r'no answer since \d\d:\d\d:\d\d', self.text('connection')))
        self.wait_for(lambda: 'the television does not answer' in self.text('nothing'))
        self.assertEqual(self.enabled('fieldset button, fieldset input, fieldset textarea, fieldset select'), [])
        self.assertEqual(self.browser.find_elements(By.CSS_SELECTOR, 'fieldset [aria-pressed=true]'), [])
        self.assertEqual(self.browser.title, 'den (no answer) – simulated television')
        self.assertNotIn('a second', self.text('caption'))
        for width in (1280, 400):
            self.resize(width, 800)
            self.assertLessEqual(self.width_needed(), width)
            self.assertFalse(self.overlap('#connection', '#name'))
            self.screenshot(f'gone {width}')
        since = self.text('connection')
        self.wait_for(lambda: not self.enabled('fieldset button'))
        self.assertEqual(self.text('connection'), since)

        url = self.url
        self.start_television(self.port)
        self.assertEqual(self.url, url)
        self.wait_for(lambda: self.text('connection') == 'connected')
        self.wait_for(lambda: not self.find('#nothing').is_displayed())
        self.assertTrue(self.enabled('fieldset button'))
        self.assertEqual(self.browser.title, 'den – simulated television')

    def test_reports_a_hanging_television_as_lost(self):
        self.television.send_signal(signal.SIGSTOP)
        self.wait_for(lambda: self.text('connection').startswith('no answer since '))
        self.television.send_signal(signal.SIGCONT)
        self.wait_for(lambda: self.text('connection') == 'connected')

    def test_needs_the_token_once(self):
        self.assertNotIn('token', self.browser.current_url)
        with open(os.path.join(self.folder, 'den.token'), encoding='utf-8') as file:
            self.assertTrue(self.url.endswith('/?token=' + file.read().strip()))
            self.assertEqual(os.fstat(file.fileno()).st_mode & 0o777, 0o600)
        self.browser.refresh()
        self.wait_for(lambda: self.text('connection') == 'connected')
        self.browser.delete_all_cookies()
        self.browser.refresh()
        self.assertEqual(self.find('body').text, "the television's token is missing: open the whole address that "
                                                 'aipq-television printed')

    def test_keeps_the_picture_visible_when_a_film_is_missing(self):
        self.find('#film').send_keys('no-film.mp4', Keys.ENTER)
        self.wait_for(lambda: self.text('message') == 'the film no-film.mp4 cannot be read: '
                                                      'No such file or directory')
        for width, height in ((1280, 800), (400, 800)):
            self.resize(width, height)
            self.assertFalse(self.overlap('#message', '#log'))
            self.screenshot(f'film missing {width}')
        self.assertFalse(self.find('#nothing').is_displayed())

    def test_plays_and_records_a_scenario(self):
        path = os.path.join(self.folder, 'short.toml')
        with open(path, 'w', encoding='utf-8') as file:
            file.write(f'[[step]]\nset = "{BRIGHTNESS}"\nto = 77\n'
                       f'[[step]]\nat = 1000\nset = "{BRIGHTNESS}"\nto = 10\n')
        self.browser.execute_cdp_cmd('Browser.setDownloadBehavior', {
            'behavior': 'allow', 'downloadPath': self.folder})
        self.find('#record').click()
        self.wait_for(lambda: self.text('record') == 'Stop recording')
        self.find('#scenario-file').send_keys(path)
        self.wait_for(lambda: self.value_of(BRIGHTNESS) == '77')
        self.wait_for(lambda: self.find('#stop-scenario').is_displayed())
        for width in (1280, 400):
            self.resize(width, 800)
            self.screenshot(f'recording {width}')
        self.resize(1280, 800)
        self.find('#stop-scenario').click()
        self.wait_for(lambda: 'the scenario was stopped' in self.log_lines())
        self.find('#record').click()
        self.wait_for(lambda: self.text('record') == 'Record')
        recordings = lambda: glob.glob(os.path.join(self.folder, 'recording-*.toml'))
        self.wait_for(recordings)
        with open(recordings()[0], encoding='utf-8') as file:
            self.assertIn('to = 77', file.read())

    def test_keeps_a_recording_of_a_television_that_is_killed(self):
        self.find('#record').click()
        self.wait_for(lambda: self.text('record') == 'Stop recording')
        self.type_into(self.input_of(CONTRAST), '71')
        self.wait_for(lambda: self.browser.execute_script("return recording.includes('to = 71')"))
        self.end_television(signal.SIGKILL)
        self.wait_for(lambda: self.find('#save-recording').is_displayed())
        self.browser.execute_cdp_cmd('Browser.setDownloadBehavior', {
            'behavior': 'allow', 'downloadPath': self.folder})
        self.find('#save-recording').click()
        self.wait_for(lambda: glob.glob(os.path.join(self.folder, 'recording-*.toml')))

    def test_resets_the_television(self):
        self.type_into(self.input_of(CONTRAST), '70')
        self.wait_for(lambda: self.value_of(CONTRAST, 'input[type=range]') == '70')
        self.find('#reset').click()
        self.wait_for(lambda: self.value_of(CONTRAST) == '50')
        self.wait_for(lambda: self.text('message') == 'the television is reset')


if __name__ == '__main__':
    unittest.main(argv=[sys.argv[0], sys.argv[2]], verbosity=2)
