"""The stand-in host package comes first on sys.path for these tests."""
import sys
from pathlib import Path

HOST = Path(__file__).resolve().parents[2] / "host"
if sys.path[:1] != [str(HOST)]:
    sys.path.insert(0, str(HOST))
