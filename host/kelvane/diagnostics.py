"""The host's logger. Silent unless the application adds a handler."""
import logging

log = logging.getLogger("kelvane")
log.addHandler(logging.NullHandler())
