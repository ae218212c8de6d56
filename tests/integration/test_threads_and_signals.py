"""No thread, Ctrl-C or disk can hang, kill or poison the host: concurrent calls complete
one after another with the results of sequential ones; SIGINT during the first load or a
large build arrives as KeyboardInterrupt and the next call works."""
import pytest

from child import call


@pytest.mark.parametrize("count", [2, 8])
def test_threads_cold_then_warm_finish_with_sequential_results(count, tmp_path):
    r = call("concurrency_scenarios:threads", count, str(tmp_path), timeout=600)
    assert r["alive"] == 0 and r["took"] < 300
    assert r["concurrent"] == r["sequential"]


# delays into the first load (about 0.3 s on the stand-in) and into a build of 1,200 blocks
@pytest.mark.parametrize("where, delay", [("load", 0.02), ("load", 0.1), ("load", 0.18), ("build", 0.05),
                                          ("build", 0.2)])
def test_ctrl_c_is_delivered_and_the_next_call_works(where, delay):
    r = call("concurrency_scenarios:interrupted", where, delay, timeout=300)
    assert r["outcome"] == "KeyboardInterrupt" and r["during"]
    assert r["late"] < 2.0          # at the next safe point: after the current DWSIM call
    assert r["after"]["0-P"][2] == pytest.approx(r["after"]["0-F"][2], rel=1e-5)   # solved, balanced
