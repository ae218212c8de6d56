"""kelvane.diagnostics that cannot be imported while the environment says BROKEN=1."""
import logging
import os

if os.environ.get("BROKEN") == "1":
    raise OSError("no log today")
log = logging.getLogger("test")
