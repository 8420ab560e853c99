"""Two systems, each with a real mailer: bundles go from the OUTDIR of one to the INBOUND of the other."""

import pytest

from harness.mailer import Mailer, stop
from harness.network import ECHO, POST, make_network
from harness.target import posix_only

pytestmark = posix_only("the mailer is Debian's")


@pytest.fixture
def exchange(site, hub_site):
    """Lets our mailer call the hub's as often as wanted."""
    ours, hubs = Mailer(site, "2:250/10.3"), Mailer(hub_site, "3:251/20.4")
    server, port = hubs.serve(ours)

    def call() -> None:
        ours.call(hubs, port)
        for sender in (site, hub_site):
            sender.wait_for(lambda: not list(sender.path("OUT").iterdir()))  # the mailer takes what it has sent

    yield call
    stop(server)


def test_bundles_are_exchanged_in_one_call_and_tossed_on_both_sides(site, hub_site, exchange):
    ours, hub = make_network(site, hub_site)
    ours.post(ECHO, "Hello hub", subject="Talk")
    ours.post(POST, "Dear Bob", to="Bob@3:251/20")
    hub.post(ECHO, "Hello lodge")
    sent = {system: [(path.name, path.read_bytes()) for path in system.scan()] for system in (ours, hub)}
    assert [len(bundles) for bundles in sent.values()] == [1, 1]

    exchange()

    for sender, receiver in ((ours, hub), (hub, ours)):
        arrived = [(path.name, path.read_bytes()) for path in receiver.site.path("IN").iterdir()]
        assert arrived == sent[sender]
        assert "=== cvtoss32 -toss run complete: 1 file(s) processed ===" in receiver.toss()
    assert hub.newest(ECHO)[1] == ours.signed("Hello hub")
    assert hub.newest(POST)[1] == ours.signed("Dear Bob")
    assert ours.newest(ECHO)[1] == hub.signed("Hello lodge")


def test_a_reply_that_comes_back_by_mailer_is_threaded(site, hub_site, exchange):
    ours, hub = make_network(site, hub_site)
    ours.post(ECHO, "Question?", subject="Talk")
    assert len(ours.scan()) == 1
    exchange()
    hub.toss()
    hub.post(ECHO, "Answer.", subject="Re: Talk", parent=1)
    assert len(hub.scan()) == 1
    exchange()
    ours.toss()
    assert ours.threads(ECHO) == hub.threads(ECHO) == [(1, 1), (2, 1)]
