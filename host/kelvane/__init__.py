"""Stand-in for the Kelvane host package.

Provides the few host modules that the compiled ``kelvane.flowgate`` module uses
(diagnostics, components, thermodynamic, datamanager) plus a command line
(``python -m kelvane``), so the module can be run and tested without Kelvane.
"""
import pkgutil

# The compiled module is installed as site-packages/kelvane/flowgate*.so, a
# folder without __init__.py; extending the path lets this package find it.
__path__ = pkgutil.extend_path(__path__, __name__)
