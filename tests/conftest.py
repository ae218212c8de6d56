"""Fixtures shared by all tests; tests/ is on sys.path, so `child` imports."""
import pytest


@pytest.fixture(scope="session")
def flowgate():
    import kelvane.flowgate
    return kelvane.flowgate
