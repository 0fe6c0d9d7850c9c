"""Declares the mark of long tests, which `make quick` leaves out, and lets interrupts reach what tests start."""

import signal


def pytest_configure(config):
    config.addinivalue_line("markers", "long: takes more than half a second; 'make quick' leaves it out")
    # What a shell starts in the background ignores interrupts, and so would all that it starts.
    if signal.getsignal(signal.SIGINT) is signal.SIG_IGN:
        signal.signal(signal.SIGINT, signal.default_int_handler)
