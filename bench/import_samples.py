"""What import_model makes of each shared DWSIM sample: objects in the file, host blocks,
feeds (all, and those made from streams cut by units without a host block), and the notes.

Run: KELVANE_DWSIM=standin/out/dwsim .venv/bin/python bench/import_samples.py
"""
import os
import sys
import warnings
import zipfile
from pathlib import Path
from xml.etree import ElementTree as ET

ROOT = Path(__file__).resolve().parent.parent
SAMPLES = ROOT.parent / "shared" / "dwsim" / "samples"
os.environ.setdefault("KELVANE_DWSIM", str(ROOT / "standin" / "out" / "dwsim"))
warnings.filterwarnings("ignore", message="Hosting Mono versions before")


def objects_in(path):
    with zipfile.ZipFile(path) as z:
        root = ET.fromstring(z.read(next(n for n in z.namelist() if n.endswith(".xml"))))
    return len(root.find("SimulationObjects"))


def main():
    if not SAMPLES.exists():
        sys.exit(f"no samples at {SAMPLES}")
    from kelvane import flowgate
    from kelvane.datamanager import flowsheet_from_dict
    for path in sorted(SAMPLES.glob("*.dwxmz")):
        model, notes = flowgate.import_model(path)
        results = flowgate.solve_dwsim(flowsheet_from_dict(model))
        cut = [n for n in notes if "feeds with the state DWSIM stored" in n or "becomes one" in n]
        print(f"## {path.name}")
        print(f"objects {objects_in(path)}, host blocks {len(model['blocks'])} "
              f"({', '.join(b['kind'] for b in model['blocks'].values()) or '-'}), feeds {len(model['feeds'])}, "
              f"solve errors {len(results['errors'])}")
        for n in notes:
            print(f"  - {n}")
        print(f"  (notes on cut streams: {len(cut)})")


if __name__ == "__main__":
    main()
