"""What the tests share with pytest: the mark by which `make quick` leaves tests out."""


def pytest_configure(config):
    config.addinivalue_line("markers", "long: takes more than half a second; 'make quick' leaves it out")
