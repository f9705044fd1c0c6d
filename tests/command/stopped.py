#!/usr/bin/env python3
"""stopped.py COMMAND: an interactive shell runs a command that asks for the password "secret"; it is stopped at the question
and taken up again, and has to ask once more without echo. Prints what the terminal showed."""
import os
import pty
import select
import sys
import termios

shown = ''
pid, fd = pty.fork()
if pid == 0:
    os.environ.update(PS1='$ ', TERM='dumb', HISTFILE='/dev/null')
    os.execvp('bash', ['bash', '--norc', '--noprofile', '--noediting', '-i'])


def type_until(typed, awaited):
    global shown
    os.write(fd, typed.encode())
    seen = ''
    while awaited not in seen:
        if not select.select([fd], [], [], 60)[0]:
            sys.exit(f'"{awaited}" was not shown: {shown}{seen}')
        seen += os.read(fd, 65536).decode()
    shown += seen


type_until(' '.join(sys.argv[1:]) + '\n', 'password of')
type_until('\x1a', 'Stopped')
type_until('fg\n', 'password of')
echo = termios.tcgetattr(fd)[3] & termios.ECHO
type_until('secret\n', 'private')
print(shown)
sys.exit('the terminal shows what is typed' if echo or 'secret' in shown else 0)
