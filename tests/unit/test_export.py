"""export: build, save unsolved, one line in the log, the notes back."""
import pytest

from dwsim_fakes import block, dwsim, feed, flowsheet, host  # noqa: F401  (fixtures)


def fs_of():
    return flowsheet(feeds={"F": feed()}, blocks={"C": block("RADFRAC"), "V": block("VALVE", P=5e4)},
                     ports={"C": (["F"], ["D"]), "V": (["D"], ["O"])}, method="X")


def test_saves_unsolved_and_returns_the_notes(flowgate, dwsim, host):
    notes = flowgate.export(fs_of(), "some/where/model")       # no extension added
    assert notes == ["property method X: NRTL of DWSIM", "not exported (no DWSIM block here): C (RADFRAC)"]
    sim = dwsim.a.sheets[0]
    assert dwsim.a.calls == [("SaveFlowsheet", sim, "some/where/model", True)]   # nothing solved
    assert sim.objects["V"].OutletPressure == 5e4
    assert host.log.lines == [("info", "DWSIM model written to %s", "some/where/model")]


@pytest.mark.parametrize("fault", ["save", "compound"])
def test_nothing_is_logged_on_failure(flowgate, dwsim, host, fault):
    fs = fs_of()
    if fault == "save":
        def refuse(*args):
            raise PermissionError("read-only")
        dwsim.a.SaveFlowsheet = refuse
    else:
        fs.pp.components.append("XENON")
    with pytest.raises((PermissionError, ValueError)):
        flowgate.export(fs, "model.dwxmz")
    assert host.log.lines == []
