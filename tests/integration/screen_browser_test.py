#!/usr/bin/python3
"""The simulated television's page as its user sees it: in headless Chromium.

screen_browser_test.py SCREEN_SERVER [FOLDER]: screenshots go to FOLDER, if it is given.
"""
import os
import subprocess
import sys
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


class ThePage(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        options = webdriver.ChromeOptions()
        for option in ('--headless=new', '--no-sandbox', '--disable-gpu', '--disable-dev-shm-usage'):
            options.add_argument(option)
        options.binary_location = '/usr/bin/chromium'
        cls.browser = webdriver.Chrome(service=Service('/usr/bin/chromedriver'), options=options)
        cls.addClassCleanup(cls.browser.quit)

    def setUp(self):
        environment = dict(os.environ, AIPQ_TV_VIDEO='scenes')
        self.server = subprocess.Popen([sys.argv[1]], stdin=subprocess.PIPE, stdout=subprocess.PIPE, text=True,
                                       env=environment)
        self.addCleanup(self.end_server)
        self.url = self.server.stdout.readline().strip()
        self.assertTrue(self.url.startswith('http://127.0.0.1:'), self.url)

        self.resize(1280, 800)
        self.browser.get(self.url)
        self.wait_for(lambda: self.text('connection') == 'connected')
        # One scene, so that only the settings change the picture.
        self.press('digits', '5')
        self.wait_for(lambda: 'pictures a second' in self.text('caption'))

    def end_server(self):
        self.server.stdin.close()
        self.server.stdout.close()
        self.assertEqual(self.server.wait(LIMIT), 0)

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

    def screenshot(self, name):
        if len(sys.argv) > 2:
            self.browser.save_screenshot(os.path.join(sys.argv[2], name + '.png'))

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

    def test_sets_what_is_typed_and_refuses_what_does_not_fit(self):
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

    def test_follows_what_others_change(self):
        self.browser.execute_script(
            "fetch('value', {method: 'POST', headers: {'Content-Type': 'application/json'},"
            " body: JSON.stringify({key: arguments[0], value: '<b>x</b>'})})", SOURCE)
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

    def test_says_why_there_is_no_picture_and_shows_it_again(self):
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
        self.press('powers', 'Wake from RAM')
        self.wait_for(lambda: not self.find('#nothing').is_displayed())
        self.press('powers', 'Resume')
        self.wait_for(lambda: self.text('message') == 'no application is registered to be told')

    def test_says_so_when_the_television_is_gone(self):
        self.server.stdin.close()
        self.server.wait(LIMIT)
        self.wait_for(lambda: 'the television does not answer' in self.text('nothing'))
        self.wait_for(lambda: self.text('connection') == 'the television does not answer')

    def test_fits_a_desk_and_a_phone(self):
        for width, height in ((1280, 800), (390, 844)):
            self.resize(width, height)
            self.assertLessEqual(self.browser.execute_script('return document.documentElement.scrollWidth'), width)
            picture = self.find('#picture').size
            self.assertGreater(picture['width'], width * 0.45)
            self.assertAlmostEqual(picture['width'] / picture['height'], 16 / 9, delta=0.05)
            self.screenshot(f'{width}')

    def test_names_every_control(self):
        names = self.browser.execute_script("""
            return [...document.querySelectorAll('button, input, select, textarea')]
              .filter((control) => !(control.getAttribute('aria-label') || control.textContent.trim()))
              .map((control) => control.outerHTML)""")
        self.assertEqual(names, [])


if __name__ == '__main__':
    unittest.main(argv=sys.argv[:1], verbosity=2)
