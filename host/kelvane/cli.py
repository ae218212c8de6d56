"""Command line of the stand-in host: python -m kelvane COMMAND ...

Exit codes: 0 done; 1 DWSIM (or the module) failed or reported errors;
2 a mistake of the user's: arguments, files, the flowsheet, DWSIM's folder.
"""
import argparse
import functools
import importlib
import json
import logging
import math
import os
import sys
import warnings
from contextlib import closing

from . import batch
from .datamanager import flowsheet_from_dict, load_flowsheet
from .diagnostics import log

USER, FAILED = 2, 1
DWSIM_SUFFIXES = (".dwxmz", ".dwxml")


class CommandError(Exception):
    """An error to report as one line, with its exit code."""

    def __init__(self, message, code=USER):
        super().__init__(message)
        self.code = code


class _Parser(argparse.ArgumentParser):
    def error(self, message):
        raise CommandError(f"{message} (see: python -m kelvane --help)")


def build_parser():
    p = _Parser(prog="kelvane", description="Kelvane stand-in host: DWSIM through kelvane.flowgate.")
    p.add_argument("-v", "--verbose", action="count", default=0, help="more log output (-vv: debug)")
    sub = p.add_subparsers(dest="command", required=True, metavar="COMMAND", parser_class=_Parser)
    s = sub.add_parser("solve", help="solve JSON flowsheets with DWSIM and print the results")
    s.add_argument("flowsheets", metavar="FLOWSHEET.json", nargs="+",
                   help="one or more; several are solved in worker processes, reported in this order")
    s.add_argument("--save", metavar="OUT.dwxmz|FOLDER",
                   help="also save the solved DWSIM file; with several flowsheets an existing "
                        "folder, which gets one NAME.dwxmz per FLOWSHEET NAME.json")
    s.add_argument("-j", "--jobs", metavar="N", type=_jobs,
                   help="solve in N worker processes, each with its own DWSIM (0: one per core; "
                        "default 1 when several flowsheets are given)")
    s.add_argument("--progress", action="store_true",
                   help="report 'solved i/n' on stderr (default: when stderr is a terminal)")
    e = sub.add_parser("export", help="write a JSON flowsheet as a DWSIM file")
    e.add_argument("flowsheet", metavar="FLOWSHEET.json")
    e.add_argument("out", metavar="OUT.dwxmz")
    i = sub.add_parser("import", help="read a DWSIM file as a JSON flowsheet")
    i.add_argument("file", metavar="FILE.dwxmz")
    i.add_argument("-o", "--output", metavar="MODEL.json", help="write the model here (default: stdout)")
    sub.add_parser("available", help="tell whether DWSIM was found")
    return p


def main(argv=None):
    # Debian's Mono 6.8 runs DWSIM's road well; pythonnet's loader warns about
    # every Mono before 6.12, which would only bury the output a person reads.
    warnings.filterwarnings("ignore", message="Hosting Mono versions before", category=UserWarning)
    handler = logging.StreamHandler(sys.stderr)
    handler.setFormatter(logging.Formatter("kelvane: %(levelname)s: %(message)s"))
    log.addHandler(handler)
    if argv is not None:  # paths as Python takes them: str, bytes or os.PathLike
        argv = [os.fsdecode(a) if isinstance(a, (bytes, os.PathLike)) else a for a in argv]
    try:
        args = build_parser().parse_args(argv)
        log.setLevel({0: logging.WARNING, 1: logging.INFO}.get(args.verbose, logging.DEBUG))
        return COMMANDS[args.command](args)
    except CommandError as e:
        print(f"kelvane: error: {one_line(str(e))}", file=sys.stderr)
        return e.code
    except KeyboardInterrupt:
        return 130
    finally:
        log.removeHandler(handler)


# -- commands -------------------------------------------------------------------------------

def cmd_solve(args):
    if len(args.flowsheets) > 1 or args.jobs is not None:
        return solve_batch(args)
    code, report = solve_report(args.flowsheets[0], args.save, _degree_sign())
    print(_printable(report))
    return code


def solve_report(path, save, celsius):
    """(exit code, the report) of one flowsheet; CommandError if it fails."""
    fs = _open(path)
    if save:
        _check_target(save)
    results = _call("solve_dwsim", fs, save=save)
    report = format_results(results, celsius)
    if save:
        report += f"\n\nSaved: {save}"
    return (FAILED if results["errors"] else 0), report


def cmd_export(args):
    fs = _open(args.flowsheet)
    _check_target(args.out)
    notes = _call("export", fs, args.out)
    text = format_messages("Notes", notes)
    if text:
        print(text)
    print(f"Written: {args.out}")
    return 0


def cmd_import(args):
    if not os.path.isfile(args.file):
        raise CommandError(f"{args.file}: no such file")
    model, notes = _call("import_model", args.file)
    try:
        flowsheet_from_dict(model)
    except ValueError as e:
        log.warning("the imported model does not open as a flowsheet: %s", e)
    text = json.dumps(model, indent=1, default=_json_default, ensure_ascii=False)
    notes_text = format_messages("Notes", notes)
    if args.output:
        try:
            with open(args.output, "w", encoding="utf-8") as f:
                f.write(text + "\n")
        except OSError as e:
            raise CommandError(f"{args.output}: cannot write ({e.strerror})") from None
        if notes_text:
            print(notes_text)
        print(f"Written: {args.output}")
    else:
        print(text)
        if notes_text:  # stderr, so that stdout stays one JSON document
            print(notes_text, file=sys.stderr)
    return 0


def cmd_available(args):
    found = _call("available")
    where = _call("folder") if found else None
    if found:
        print(f"DWSIM is available{f' in {where}' if where else ''}.")
        return 0
    print("DWSIM was not found (set its folder in KELVANE_DWSIM, or install it and pythonnet).")
    return FAILED


# -- solving several flowsheets ---------------------------------------------------------------
# Each worker process has its own DWSIM; the reports come back as text and are
# printed here, in the order of the command line, each under a header line.

WORKER_SETUP = None  # a function run first in every worker (the tests stand a fake module in)


def solve_batch(args):
    paths = args.flowsheets
    targets = _save_targets(paths, args.save)
    jobs = batch.cores() if args.jobs == 0 else (args.jobs or 1)
    progress = len(paths) > 1 and (args.progress or sys.stderr.isatty())
    tasks = [(path, target, _degree_sign(), log.level) for path, target in zip(paths, targets)]
    setup = functools.partial(_worker_setup, WORKER_SETUP)
    outcomes, printed, codes = {}, 0, []
    try:
        with closing(batch.run(_solve_in_worker, tasks, jobs, setup)) as finishing:
            for done, (index, outcome) in enumerate(finishing, 1):
                outcomes[index] = outcome
                if progress:
                    print(f"kelvane: solved {done}/{len(paths)}", file=sys.stderr, flush=True)
                while printed in outcomes:
                    codes.append(_print_section(printed, paths[printed], outcomes.pop(printed)))
                    printed += 1
    except KeyboardInterrupt:
        print(f"kelvane: interrupted; {len(codes)} of {len(paths)} flowsheets reported",
              file=sys.stderr, flush=True)
        raise
    failed = [shown(paths[i]) for i, code in enumerate(codes) if code]
    if failed:
        listed = ", ".join(failed[:5]) + (", ..." if len(failed) > 5 else "")
        print(f"kelvane: error: {len(failed)} of {len(paths)} flowsheets failed: {listed}",
              file=sys.stderr)
    return max(codes)


def _print_section(index, path, outcome):
    """Prints one flowsheet's report (or its one-line error) under its header;
    its log lines go to stderr. Its exit code."""
    if isinstance(outcome, batch.Failure):
        outcome = (FAILED, None, str(outcome), [])
    code, report, error, logs = outcome
    for line in logs:
        print(line, file=sys.stderr)
    if index:
        print()
    text = report if error is None else f"kelvane: error: {one_line(error)}"
    print(_printable(f"==> {shown(path)} <==\n{text}"), flush=True)
    return code


def _save_targets(paths, save):
    """Where each flowsheet is saved: None, the one file, or FOLDER/NAME.dwxmz."""
    if not save:
        return [None] * len(paths)
    if os.path.isdir(save):
        targets = [os.path.join(save, os.path.splitext(os.path.basename(p))[0] + ".dwxmz") for p in paths]
        seen = {}
        for path, target in zip(paths, targets):
            key = os.path.normcase(target)
            if key in seen:
                raise CommandError(f"--save {save}: {seen[key]} and {path} would both be saved as {target}")
            seen[key] = path
        return targets
    if len(paths) > 1:
        raise CommandError(f"--save {save}: with several flowsheets --save names an existing folder "
                           "(each is saved there as NAME.dwxmz)")
    _check_target(save)
    return [save]


def _worker_setup(hook):
    # What DWSIM or .NET print on stdout must not mix into the reports, which
    # travel to the parent; the worker's stdout goes to stderr.
    sys.stdout.flush()
    os.dup2(2, 1)
    sys.stdout = sys.stderr
    warnings.filterwarnings("ignore", message="Hosting Mono versions before", category=UserWarning)
    if hook is not None:
        hook()


def _solve_in_worker(task):
    """In a worker: (exit code, report or None, error or None, log lines)."""
    path, save, celsius, level = task
    lines = _Lines(shown(path))
    log.addHandler(lines)
    log.setLevel(level)
    try:
        return (*solve_report(path, save, celsius), None, lines.lines)
    except CommandError as e:
        return e.code, None, str(e), lines.lines
    except Exception as e:  # a fault of this code; the other flowsheets go on
        return FAILED, None, f"{type(e).__name__}: {e}", lines.lines
    finally:
        log.removeHandler(lines)


class _Lines(logging.Handler):
    """Keeps the log lines of one flowsheet, to print with its report."""

    def __init__(self, name):
        super().__init__()
        self.lines = []
        name = name.replace("%", "%%")  # the format's own % fields stay the only ones
        self.setFormatter(logging.Formatter(f"kelvane: %(levelname)s: {name}: %(message)s"))

    def emit(self, record):
        self.lines.append(one_line(self.format(record)))


COMMANDS = {"solve": cmd_solve, "export": cmd_export, "import": cmd_import,
            "available": cmd_available}


# -- calling out ----------------------------------------------------------------------------

def _open(path):
    try:
        return load_flowsheet(path)
    except FileNotFoundError:
        raise CommandError(f"{path}: no such file") from None
    except OSError as e:
        raise CommandError(f"{path}: cannot read ({e.strerror})") from None
    except ValueError as e:
        message = str(e)   # a JSON error names the file already
        raise CommandError(message if message.startswith(f"{path}:") else f"{path}: {message}") from None


def _check_target(path):
    path = os.fsdecode(path)
    if not path.lower().endswith(DWSIM_SUFFIXES):
        raise CommandError(f"{path}: DWSIM files end in {' or '.join(DWSIM_SUFFIXES)}")
    folder = os.path.dirname(os.path.abspath(path))
    if not os.path.isdir(folder):
        raise CommandError(f"{path}: folder {folder} does not exist")


def _module():
    try:
        return importlib.import_module("kelvane.flowgate")
    except ImportError as e:
        raise CommandError(f"kelvane.flowgate cannot be imported ({e}); build and install "
                           "the module first") from None


def _call(name, *args, **kwargs):
    """Calls a function of the module; its failures become one-line errors:
    user mistakes (bad flowsheet, unknown compound, no DWSIM) exit 2,
    failures of DWSIM or of the module exit 1."""
    fn = getattr(_module(), name)
    try:
        return fn(*args, **kwargs)
    except (ValueError, KeyError) as e:
        raise CommandError(_message(e)) from None
    except RuntimeError as e:
        code = USER if "not installed" in str(e) else FAILED
        raise CommandError(_message(e), code) from None
    except Exception as e:  # .NET exceptions arrive as their own types
        raise CommandError(f"DWSIM failed: {type(e).__name__}: {_message(e)}", FAILED) from None


def _message(e):
    # KeyError's str() quotes its argument; a .NET exception's str() carries
    # its stack trace, its Message is what a person needs.
    if isinstance(e, KeyError) and e.args:
        return str(e.args[0])
    message = getattr(e, "Message", None)
    return message if isinstance(message, str) else str(e)


def _json_default(value):
    if hasattr(value, "tolist"):  # numpy arrays and scalars
        return value.tolist()
    if isinstance(value, (set, tuple)):
        return list(value)
    raise TypeError(f"{type(value).__name__} is not JSON")


def _jobs(text):
    try:
        jobs = int(text)
    except ValueError:
        raise argparse.ArgumentTypeError(f"not a whole number: {text!r}") from None
    if jobs < 0:
        raise argparse.ArgumentTypeError(f"{jobs}: give 1 or more, or 0 for one per core")
    return jobs


def shown(path):
    """A path as printable text: bytes a file name may hold that are no text
    (kept by Python as surrogates) shown as escapes."""
    return os.fsdecode(path).encode("utf-8", "backslashreplace").decode("utf-8")


def _printable(text):
    """Text that stdout can take: what its encoding lacks (and the surrogates
    of undecodable file names) as escapes, rather than a failed print."""
    encoding = sys.stdout.encoding or "utf-8"
    return text.encode(encoding, "backslashreplace").decode(encoding)


def _degree_sign():
    try:
        "°".encode(sys.stdout.encoding or "ascii")
        return "°C"
    except (UnicodeEncodeError, LookupError):
        return "C"


# -- formatting (of a plain results mapping) -------------------------------------------------

def one_line(text):
    return " ".join(str(text).split())


def _float(value):
    """A finite float, or None for a missing or failed value."""
    try:
        value = float(value)
    except (TypeError, ValueError):
        return None
    return value if math.isfinite(value) else None


def _cell(value, scale=1.0, offset=0.0, fmt=".4f"):
    value = _float(value)
    return "-" if value is None else format(value * scale + offset, fmt)


def _table(header, rows, text_last=False):
    """Columns aligned: names left, numbers right, a last text column left."""
    widths = [max(len(r[i]) for r in [header] + rows) for i in range(len(header))]

    def line(r):
        cells = [r[0].ljust(widths[0])] + [c.rjust(w) for c, w in zip(r[1:], widths[1:])]
        if text_last:
            cells[-1] = r[-1]
        return "  ".join(cells).rstrip()

    return "\n".join([line(header), "  ".join("-" * w for w in widths)] + [line(r) for r in rows])


def main_fractions(x, limit=3, threshold=1e-3):
    """The largest mole fractions as text, e.g. "WATER 0.912, METHANOL 0.088"."""
    items = [(c, f) for c, f in ((c, _float(f)) for c, f in x.items())
             if f is not None and f >= threshold]
    items.sort(key=lambda item: -item[1])
    return ", ".join(f"{c} {f:.3f}" for c, f in items[:limit]) or "-"


def format_streams(streams, celsius="°C"):
    header = ["Stream", "T [K]", f"T [{celsius}]", "P [bar]", "F [kmol/h]", "F [mol/s]",
              "Vfrac", "Main mole fractions"]
    rows = [[str(name),
             _cell(s["T"], fmt=".2f"),
             _cell(s["T"], offset=-273.15, fmt=".2f"),
             _cell(s["P"], scale=1e-5),
             _cell(s["F"], scale=3600.0),
             _cell(s["F"], scale=1000.0),
             _cell(s["VFRAC"]),
             main_fractions(s["x"])]
            for name, s in streams.items()]
    return _table(header, rows, text_last=True)


def format_blocks(blocks):
    header = ["Block", "Duty [kW]", "Power [kW]"]
    rows = [[str(name), _cell(b.get("duty"), 1e-3, fmt=".3f"), _cell(b.get("power"), 1e-3, fmt=".3f")]
            for name, b in blocks.items()]
    return _table(header, rows)


def format_messages(title, messages):
    if not messages:
        return ""
    return "\n".join([f"{title}:"] + [f"  - {one_line(m)}" for m in messages])


def format_results(results, celsius="°C"):
    """The readable report of a results mapping {"streams", "blocks", "errors", "notes"}."""
    streams, blocks = results["streams"], results["blocks"]
    parts = [format_streams(streams, celsius) if streams else "No streams."]
    if blocks:
        parts.append(format_blocks(blocks))
    for title, key in (("DWSIM errors", "errors"), ("Notes", "notes")):
        text = format_messages(title, results[key])
        if text:
            parts.append(text)
    return "\n\n".join(parts)
