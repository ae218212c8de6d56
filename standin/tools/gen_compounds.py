"""Regenerate data/compounds.tsv from DWSIM's compound list (name, CAS, source DB).

Run once by hand when the list changes:
    python standin/tools/gen_compounds.py /path/to/compounds.json
The build only reads the generated TSV, so it works where the JSON is absent.
"""
import json
import os
import sys


def main(src):
    with open(src, encoding="utf-8") as f:
        entries = json.load(f)
    out = os.path.join(os.path.dirname(__file__), "..", "data", "compounds.tsv")
    with open(out, "w", encoding="utf-8", newline="\n") as f:
        f.write("# name\tcas\tdb  (DWSIM database order; same-CAS duplicates kept)\n")
        for e in entries:
            for field in ("name", "cas", "db"):
                if "\t" in (e.get(field) or "") or "\n" in (e.get(field) or ""):
                    raise ValueError(f"unexpected whitespace in {e!r}")
            f.write(f"{e['name']}\t{e.get('cas') or ''}\t{e.get('db') or ''}\n")
    print(f"wrote {len(entries)} compounds to {os.path.normpath(out)}")


if __name__ == "__main__":
    main(sys.argv[1] if len(sys.argv) > 1 else "/work/shared/dwsim/compounds.json")
