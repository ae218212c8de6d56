"""The module at import, each case in a fresh interpreter (test_frame.py): without its
optional dependencies, imported twice, in a second interpreter, as a second module
object, and after a failed first import."""
import importlib
import importlib.util
import os
import sys

BROKEN_HOST = os.path.join(os.path.dirname(os.path.abspath(__file__)), "broken_host")


class Refuse:
    """A finder that refuses pythonnet, PySide6 and every .NET namespace."""

    def find_spec(self, name, path=None, target=None):
        if name.split(".")[0] in ("pythonnet", "clr", "PySide6", "System", "DWSIM"):
            raise ImportError("blocked: " + name)


def without_optional_dependencies():
    sys.meta_path.insert(0, Refuse())
    import kelvane.flowgate as f
    return [f.available(), f._STATE, sorted(m for m in sys.modules if m.startswith(("clr", "PySide6", "pythonnet")))]


def imported_twice():
    import kelvane.flowgate as first
    first._STATE["marker"] = 1
    del sys.modules["kelvane.flowgate"]
    second = importlib.import_module("kelvane.flowgate")
    return [second is first, second._STATE, sys.modules["kelvane.flowgate"] is first]


def in_a_second_interpreter():
    """What a sub-interpreter's import of the module raises, as the main one sees it."""
    import _xxsubinterpreters as interpreters
    import kelvane.flowgate  # noqa: F401
    sub = interpreters.create(isolated=False)
    try:
        interpreters.run_string(sub, "import kelvane.flowgate")   # the API takes source text
    except interpreters.RunFailedError as e:
        return str(e)
    return None


def second_module_object():
    import _imp
    spec = importlib.util.find_spec("kelvane.flowgate")
    one, two = _imp.create_dynamic(spec), _imp.create_dynamic(spec)
    _imp.exec_dynamic(one)
    try:
        _imp.exec_dynamic(two)
    except RuntimeError as e:
        return [type(e).__name__, str(e)]
    return None


def after_a_failed_body():
    """The host's diagnostics fails at first; once the cause is gone the import succeeds."""
    sys.path.insert(0, BROKEN_HOST)
    os.environ["BROKEN"] = "1"
    try:
        import kelvane.flowgate  # noqa: F401
        first = None
    except OSError as e:
        first = str(e)
    os.environ["BROKEN"] = "0"
    sys.modules.pop("kelvane.diagnostics", None)
    import kelvane.flowgate as f
    return [first, f.log.name, "kelvane.flowgate" in sys.modules]
