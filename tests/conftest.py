"""Declares the mark of long tests, which `make quick` leaves out."""


def pytest_configure(config):
    config.addinivalue_line("markers", "long: takes more than half a second; 'make quick' leaves it out")
