"""_pressures on odd host flowsheets, in this process (no .NET): a dict whose keys are feeds
or outlets named at the ports and whose values are numbers or a feed's own value, or an
exception with a message; never a crash or a hang. A case that overruns its time bound
ends the test run with a traceback (faulthandler), as a hang would not."""
import faulthandler

from hypothesis import HealthCheck, given, settings

from odd_hosts import dumps, flowsheets, pressures_case

CASE_SECONDS = 20


@settings(max_examples=300, derandomize=True, database=None, deadline=None, print_blob=False,
          suppress_health_check=list(HealthCheck))
@given(desc=flowsheets())
def test_pressures_of_odd_flowsheets(flowgate, desc):
    faulthandler.dump_traceback_later(CASE_SECONDS, exit=True)
    try:
        what, why = pressures_case(flowgate, desc)
    finally:
        faulthandler.cancel_dump_traceback_later()
    assert why is None, (why, dumps(desc))
