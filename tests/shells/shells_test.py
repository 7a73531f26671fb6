#!/usr/bin/env python3
"""What bash, zsh and fish make of quorvin and a tabulator, typed at a terminal.

QUORVIN_BUILD is the build tree.
"""
import os
import pty
import re
import select
import shutil
import signal
import subprocess
import tempfile
import time
import unittest

ROOT = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))
SCRIPTS = os.path.join(ROOT, 'tool', 'shells')
BUILD = os.path.abspath(os.environ['QUORVIN_BUILD'])
TIMEOUT = 30
PROMPT = '@ready@'


class Terminal:
    """A shell on a terminal of its own."""

    def __init__(self, words, environment, folder):
        self.process, self.descriptor = pty.fork()
        if self.process == 0:
            os.chdir(folder)
            os.execvpe(words[0], words, environment)

    def send(self, text):
        os.write(self.descriptor, text.encode())

    def until(self, expression):
        """What is printed up to a match, without the terminal's commands."""
        read = ''
        end = time.monotonic() + TIMEOUT
        while not re.search(expression, read):
            ready, _, _ = select.select([self.descriptor], [], [], max(0, end - time.monotonic()))
            if not ready:
                raise AssertionError(f'{expression} is not in {read!r}')
            read += os.read(self.descriptor, 4096).decode(errors='replace')
            read = re.sub(r'\x1b\[[0-9;?]*[a-zA-Z]|\x1b[=>]|\a', '', read)
        return read

    def close(self):
        os.kill(self.process, signal.SIGKILL)
        os.waitpid(self.process, 0)
        os.close(self.descriptor)


class ShellTest(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.folder = tempfile.mkdtemp()
        cls.addClassCleanup(shutil.rmtree, cls.folder)
        cls.library = os.path.join(cls.folder, 'my library')
        cls.environment = {
            'PATH': os.path.join(BUILD, 'bin') + ':' + os.environ['PATH'], 'HOME': cls.folder,
            'LANG': 'C.UTF-8', 'TERM': 'xterm', 'COLUMNS': '200', 'XDG_STATE_HOME': '/dev/null',
            'QUORVIN_MEDIA_WORKER': os.path.join(BUILD, 'bin', 'quorvin-media')}
        photos = os.path.join(cls.folder, 'photos')
        os.mkdir(photos)
        shutil.copy(os.path.join(BUILD, 'media', 'good', 'IMG_0002.jpg'), photos)
        cls.quorvin('import', '--album', 'Grün & $HOME', photos)

    @classmethod
    def quorvin(cls, *words):
        ran = subprocess.run(['quorvin', '--library', cls.library, *words], env=cls.environment,
                             stdout=subprocess.PIPE, text=True, check=True)
        return ran.stdout

    def shell(self, words):
        terminal = Terminal(words, self.environment, self.folder)
        self.addCleanup(terminal.close)
        return terminal


class Typed(ShellTest):
    """Words that are typed, completed, and reach a program as they are meant."""

    def started(self):
        raise NotImplementedError

    def setUp(self):
        super().setUp()
        self.terminal = self.started()

    def completed(self, typed):
        """The words that the shell makes of the line once it was completed."""
        # Behind the cursor: home, and a program that prints its words in front.
        self.terminal.send(f'{typed}\t\x01show \x05\r')
        shown = self.terminal.until(r'<<(.*)>>')
        return re.search(r'<<(.*)>>', shown)[1].split('|')

    def test_subcommands_options_and_values_are_completed(self):
        for typed, words in (
                ('quorvin exp', ['quorvin', 'export']),
                ('quorvin export --lay', ['quorvin', 'export', '--layout']),
                ('quorvin export --layout al', ['quorvin', 'export', '--layout', 'album']),
                ('quorvin export --layout=al', ['quorvin', 'export', '--layout=album']),
                ('quorvin authorize not', ['quorvin', 'authorize', 'not-determined']),
                ('quorvin trash res', ['quorvin', 'trash', 'restore']),
                ('quorvin call getThumb', ['quorvin', 'call', 'getThumbnail'])):
            with self.subTest(typed=typed):
                self.assertEqual(self.completed(typed), words)

    def test_titles_of_albums_are_completed_and_quoted(self):
        self.assertEqual(self.completed("quorvin --library 'my library' export --album Gr"),
                         ['quorvin', '--library', 'my library', 'export', '--album', 'Grün & $HOME'])
        self.assertEqual(self.completed('quorvin --library my\\ library export --album=Gr'),
                         ['quorvin', '--library', 'my library', 'export', '--album=Grün & $HOME'])

    def test_paths_are_completed_by_the_shell(self):
        self.assertEqual(self.completed('quorvin import photos/IMG'),
                         ['quorvin', 'import', 'photos/IMG_0002.jpg'])
        self.assertEqual(self.completed('quorvin backup pho')[-1].rstrip('/'), 'photos')
        self.assertEqual(self.completed('quorvin --library my')[-1].rstrip('/'), 'my library')


class Bash(Typed):
    def started(self):
        terminal = self.shell(['bash', '--norc', '--noprofile', '-i'])
        terminal.send('. /usr/share/bash-completion/bash_completion\r'
                      f'. {SCRIPTS}/quorvin.bash\r'
                      'show() { local IFS="|"; echo "<<$*>>"; }\r'
                      'PS1=@rea""dy@\r')
        terminal.until(PROMPT)
        return terminal


class Zsh(Typed):
    def started(self):
        terminal = self.shell(['zsh', '-f', '-i'])
        terminal.send(f'fpath=({SCRIPTS} $fpath); autoload -U compinit; compinit -u -D; bindkey -e\r'
                      'show() { echo "<<${(j:|:)@}>>" }\r'
                      'PS1=@rea""dy@ \r')
        terminal.until(PROMPT)
        return terminal


class Fish(ShellTest):
    def completed(self, typed):
        script = f'source {SCRIPTS}/quorvin.fish; complete -C $argv[1]'
        ran = subprocess.run(['fish', '--no-config', '-c', script, typed], env=self.environment,
                             cwd=self.folder, stdout=subprocess.PIPE, text=True, check=True)
        return ran.stdout.splitlines()

    def test_words_are_completed(self):
        self.assertEqual(self.completed('quorvin exp'),
                         ['export\tWrite assets into a folder as ordinary files'])
        self.assertEqual(self.completed('quorvin export --layout '), ['date', 'album'])
        self.assertEqual(self.completed('quorvin export --layout=al'), ['--layout=album'])
        self.assertEqual(self.completed("quorvin --library 'my library' export --album Gr"),
                         ['Grün & $HOME'])
        self.assertEqual(self.completed('quorvin import photos/IMG'), ['photos/IMG_0002.jpg'])
        self.assertEqual([line.split('\t')[0] for line in self.completed('quorvin backup pho')],
                         ['photos/'])


del Typed, ShellTest

if __name__ == '__main__':
    unittest.main()
