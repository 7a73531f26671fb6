"""A screen of its own, with what programs show there."""
import os
import shutil
import signal
import subprocess
import tempfile
import time
import unittest

BUILD = os.path.abspath(os.environ['QUORVIN_BUILD'])
TIMEOUT = 60
WIDTH, HEIGHT = 1000, 700
# A side of the squares whose mean colours are looked at.
BLOCK = 20


def waited_for(what, describe):
    """What is there in the end, which is to be true."""
    end = time.monotonic() + TIMEOUT
    while True:
        result = what()
        if result:
            return result
        if time.monotonic() > end:
            raise AssertionError(f'waited in vain: {describe()}')
        time.sleep(0.1)


class ScreenTest(unittest.TestCase):
    """Programs of `build/examples` on a library of their own."""

    @classmethod
    def setUpClass(cls):
        cls.folder = tempfile.mkdtemp()
        cls.addClassCleanup(shutil.rmtree, cls.folder)
        reading, writing = os.pipe()
        screen = subprocess.Popen(
            ['Xvfb', '-displayfd', str(writing), '-screen', '0', f'{WIDTH}x{HEIGHT}x24',
             '-nolisten', 'tcp'], pass_fds=[writing], stderr=subprocess.DEVNULL)
        cls.addClassCleanup(cls.ended, screen)
        os.close(writing)
        with os.fdopen(reading) as number:
            cls.display = ':' + number.readline().strip()
        cls.environment = {
            **os.environ, 'DISPLAY': cls.display, 'GDK_BACKEND': 'x11', 'GSK_RENDERER': 'cairo',
            'SDL_VIDEODRIVER': 'x11', 'SDL_RENDER_DRIVER': 'software', 'GTK_A11Y': 'none',
            'HOME': cls.folder, 'XDG_STATE_HOME': '/dev/null', 'LANG': 'C.UTF-8',
            'QUORVIN_MEDIA_WORKER': os.path.join(BUILD, 'bin', 'quorvin-media')}

    @staticmethod
    def ended(process):
        process.terminate()
        process.wait()

    def setUp(self):
        self.library = os.path.join(self.folder, self.id())
        shutil.copytree(os.path.join(BUILD, 'library'), self.library)

    def quorvin(self, *words):
        return subprocess.run([os.path.join(BUILD, 'bin', 'quorvin'), '--library', self.library,
                               *words], env=self.environment, stdout=subprocess.PIPE, check=True).stdout

    def start(self, name, **options):
        program = subprocess.Popen([os.path.join(BUILD, 'examples', name), self.library],
                                   env=self.environment, **options)
        self.addCleanup(self.killed, program)
        return program

    @staticmethod
    def killed(program):
        if program.poll() is None:
            program.send_signal(signal.SIGKILL)
        program.wait()
        if program.stdout is not None:
            program.stdout.close()

    def xdotool(self, *words):
        return subprocess.run(['xdotool', *words], env=self.environment, stdout=subprocess.PIPE,
                              stderr=subprocess.DEVNULL, text=True, check=False).stdout.split()

    def window(self, title):
        return waited_for(lambda: self.xdotool('search', '--onlyvisible', '--name', title),
                          lambda: f'no window {title}')[-1]

    def type(self, window, *keys):
        """Without a window manager nobody else gives a window the keys."""
        self.xdotool('windowfocus', '--sync', window)
        for key in keys:
            self.xdotool('key', key)

    def blocks(self):
        """The mean colours of all squares of the screen."""
        picture = subprocess.run(
            ['ffmpeg', '-v', 'error', '-f', 'x11grab', '-video_size', f'{WIDTH}x{HEIGHT}',
             '-draw_mouse', '0', '-i', self.display, '-frames:v', '1', '-vf',
             f'scale={WIDTH // BLOCK}:{HEIGHT // BLOCK}:flags=area', '-f', 'rawvideo', '-pix_fmt',
             'rgb24', '-'], stdout=subprocess.PIPE, check=True).stdout
        return [tuple(picture[i:i + 3]) for i in range(0, len(picture), 3)]

    def shows(self, colour, least=4):
        """Does that colour fill some squares of the screen?"""
        near = [block for block in self.blocks()
                if max(abs(a - b) for a, b in zip(block, colour)) <= 12]
        return len(near) >= least

    def wait_for_colour(self, colour):
        waited_for(lambda: self.shows(colour), lambda: f'{colour} in {sorted(set(self.blocks()))}')

    def wait_until_gone(self, colour):
        waited_for(lambda: not self.shows(colour), lambda: f'{colour} is still there')

    def import_picture(self, colour, name):
        """A picture of one colour, and newer than all others."""
        path = os.path.join(self.folder, name)
        red, green, blue = colour
        subprocess.run(['ffmpeg', '-v', 'error', '-y', '-f', 'lavfi', '-i',
                        f'color=0x{red:02x}{green:02x}{blue:02x}:s=640x480', '-frames:v', '1', path],
                       check=True)
        self.quorvin('import', path)

    def trashed(self):
        return self.quorvin('trash', 'list').decode().splitlines()
