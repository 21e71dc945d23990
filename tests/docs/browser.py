"""A headless Chromium that opens local pages, driven through its debugging pipe."""
import base64
import json
import os
import pathlib
import select
import subprocess
import tempfile
import time
from typing import Any

OPTIONS = ('--headless=new', '--no-sandbox', '--disable-gpu', '--disable-quic', '--no-first-run',
           '--no-default-browser-check', '--disable-background-networking', '--disable-component-update',
           '--disable-sync', '--disable-extensions', '--hide-scrollbars', '--host-resolver-rules=MAP * ~NOTFOUND',
           '--remote-debugging-pipe', 'about:blank')
SECONDS = 30


class NavigatedAway(RuntimeError):
    """The page was left while it was asked for something."""


class Browser:
    """One tab. `complaints` are console errors and uncaught exceptions of the open page, `requests` its requests."""

    def __init__(self) -> None:
        self._profile = tempfile.TemporaryDirectory(ignore_cleanup_errors=True)
        commands, self._commands = os.pipe()
        self._answers, answers = os.pipe()

        def use_pipes() -> None:
            high = os.dup(commands), os.dup(answers)  # so that dup2 overwrites neither
            os.dup2(high[0], 3)
            os.dup2(high[1], 4)
        environment = {**os.environ, 'HOME': self._profile.name}
        self._process = subprocess.Popen(['chromium', *OPTIONS, f'--user-data-dir={self._profile.name}/data'],
                                         preexec_fn=use_pipes, close_fds=False, env=environment,
                                         stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        os.close(commands)
        os.close(answers)
        self._received = b''
        self._number = 0
        self._session = ''
        self._loaded = 0
        self._screen = (0, 0, False)
        self.complaints: list[str] = []
        self.requests: list[str] = []
        target = next(info for info in self.call('Target.getTargets')['targetInfos'] if info['type'] == 'page')
        self._session = self.call('Target.attachToTarget', targetId=target['targetId'], flatten=True)['sessionId']
        for domain in ('Page', 'Runtime', 'Log', 'Network'):
            self.call(f'{domain}.enable')

    def __enter__(self) -> 'Browser':
        return self

    def __exit__(self, *_: object) -> None:
        os.close(self._commands)  # ends the browser
        try:
            self._process.wait(10)
        except subprocess.TimeoutExpired:
            self._process.kill()
        os.close(self._answers)
        self._profile.cleanup()

    def call(self, method: str, **parameters: Any) -> dict[str, Any]:
        self._number += 1
        message = {'id': self._number, 'method': method, 'params': parameters}
        if self._session:
            message['sessionId'] = self._session
        os.write(self._commands, json.dumps(message).encode() + b'\0')
        while True:
            answer = self._receive()
            if answer.get('id') == self._number:
                if 'error' in answer:
                    reason = answer['error']['message']
                    kind = NavigatedAway if 'navigated' in reason else RuntimeError
                    raise kind(f'{method}: {reason}')
                return answer['result']

    def _receive(self) -> dict[str, Any]:
        """Returns the next message and records events."""
        while b'\0' not in self._received:
            if not select.select([self._answers], [], [], SECONDS)[0]:
                raise RuntimeError(f'the browser has not answered for {SECONDS} seconds')
            data = os.read(self._answers, 1 << 16)
            if not data:
                raise RuntimeError('the browser has ended')
            self._received += data
        message, _, self._received = self._received.partition(b'\0')
        answer = json.loads(message)
        self._note(answer.get('method', ''), answer.get('params', {}))
        return answer

    def _note(self, event: str, values: dict[str, Any]) -> None:
        if event == 'Page.loadEventFired':
            self._loaded += 1
        elif event == 'Runtime.exceptionThrown':
            details = values['exceptionDetails']
            self.complaints.append(details.get('exception', {}).get('description', details['text']))
        elif event == 'Runtime.consoleAPICalled' and values['type'] in ('error', 'warning', 'assert'):
            self.complaints.append(' '.join(str(part.get('value', '')) for part in values['args']))
        elif event == 'Log.entryAdded' and values['entry']['level'] in ('error', 'warning'):
            self.complaints.append(values['entry']['text'])
        elif event == 'Network.requestWillBeSent':
            self.requests.append(values['request']['url'])

    def open(self, address: str) -> None:
        self.complaints, self.requests = [], []
        loaded = self._loaded
        new_document = 'loaderId' in self.call('Page.navigate', url=address)
        while new_document and self._loaded == loaded:
            self._receive()

    def evaluate(self, expression: str) -> Any:
        result = self.call('Runtime.evaluate', expression=expression, returnByValue=True, awaitPromise=True)
        if 'exceptionDetails' in result:
            raise RuntimeError(result['exceptionDetails']['exception']['description'])
        return result['result'].get('value')

    def wait_for(self, expression: str) -> Any:
        """Waits until an expression is true, on this page or the next one, and returns its value."""
        end = time.monotonic() + SECONDS
        while time.monotonic() < end:
            try:
                if value := self.evaluate(expression):
                    return value
            except NavigatedAway:
                pass
            time.sleep(0.02)
        raise RuntimeError(f'timeout: {expression}')

    def emulate(self, width: int, height: int, phone: bool, scheme: str) -> None:
        """Sets the size of the window or the phone's screen, and the preferred scheme, "dark" or "light"."""
        if self._screen != (width, height, phone):  # changing it is slow
            self._screen = width, height, phone
            self.call('Emulation.setDeviceMetricsOverride', width=width, height=height,
                      deviceScaleFactor=2 if phone else 1, mobile=phone)
        self.call('Emulation.setEmulatedMedia', features=[{'name': 'prefers-color-scheme', 'value': scheme}])

    def type(self, text: str) -> None:
        """Types into the focused field, then presses Enter."""
        self.call('Input.insertText', text=text)
        for kind in ('keyDown', 'keyUp'):
            self.call('Input.dispatchKeyEvent', type=kind, key='Enter', code='Enter', windowsVirtualKeyCode=13,
                      text='\r' if kind == 'keyDown' else '')

    def screenshot(self, path: pathlib.Path) -> None:
        path.write_bytes(base64.b64decode(self.call('Page.captureScreenshot')['data']))
