"""The module of another commit, for benchmarks that compare two versions side by side."""
import os
import subprocess
import sys
from pathlib import Path

ROOT = Path(__file__).resolve().parent.parent


def module_site(source, where):
    """A folder to put first on sys.path so that kelvane.flowgate is the one of `source`: the
    folder itself, or the module of git ref `source` built into `where`."""
    if os.path.isdir(source):
        return source
    archive = subprocess.run(["git", "-C", str(ROOT), "archive", source], capture_output=True, check=True).stdout
    tree = os.path.join(where, "tree")
    os.makedirs(tree)
    subprocess.run(["tar", "-x", "-C", tree], input=archive, check=True)
    site = os.path.join(where, "site")
    subprocess.run([sys.executable, "-m", "pip", "install", "-q", "--no-build-isolation", "--no-deps", "--target", site,
                    tree], check=True)
    return site
