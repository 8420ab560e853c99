"""The date of a packed message, and what becomes of it in the message base."""

from formats.message_base import body_lines
from formats.packet import echomail
from formats.text import Text, raw
from harness.one_packet import OnePacket


def assert_dates(site, rows: list[tuple[Text, Text]]) -> None:
    """Tosses a message for each date text, with the text that is to be stored of it."""
    packet = OnePacket(site)
    base = packet.conference()
    for date, stored in rows:
        message = echomail("CASE1", "Hi", date=date)
        packet.add(message, base.store(message, body_lines("Hi"), date=stored))
    packet.toss()


def assert_kept(site, dates: list[Text]) -> None:
    """None of those date texts can be converted: each is stored as its first 17 characters."""
    assert_dates(site, [(date, raw(date)[:17]) for date in dates])


def test_the_usual_form_is_converted_to_month_day_year_and_a_12_hour_clock(site):
    assert_dates(
        site,
        [
            ("05 Jan 25  00:07:59", "01/05/25 12:07am"),
            ("31 Dec 1999 23:59:60", "12/31/99 11:59pm"),
            ("07 Mar 24  21:05:00", "03/07/24 09:05pm"),
        ],
    )


def test_each_month_in_any_case(site):
    names = ("Jan", "Feb", "Mar", "Apr", "May", "Jun", "Jul", "Aug", "Sep", "Oct", "Nov", "Dec")
    rows = []
    for number, name in enumerate(names, 1):
        for spelling in (name, name.lower(), name.upper(), name.swapcase()):
            rows.append((f"05 {spelling} 25  10:00:00", f"{number:02d}/05/25 10:00am"))
    assert_dates(site, rows)


def test_each_hour_on_the_12_hour_clock(site):
    clock = "12am 01am 02am 03am 04am 05am 06am 07am 08am 09am 10am 11am".split()
    clock += "12pm 01pm 02pm 03pm 04pm 05pm 06pm 07pm 08pm 09pm 10pm 11pm".split()
    rows = [(f"05 Jan 25  {hour:02d}:59:00", f"01/05/25 {text[:2]}:59{text[2:]}") for hour, text in enumerate(clock)]
    assert_dates(site, rows)


def test_numbers_at_their_limits_are_converted(site):
    assert_dates(
        site,
        [
            ("1 Jan 25 10:00:00", "01/01/25 10:00am"),
            ("31 Jan 25 10:00:00", "01/31/25 10:00am"),
            ("5 Jan 25 0:0:0", "01/05/25 12:00am"),
            ("5 Jan 25 23:59:59", "01/05/25 11:59pm"),
            ("5 Jan 25 23:59:60", "01/05/25 11:59pm"),
            ("5 Jan 0 10:00:00", "01/05/00 10:00am"),
        ],
    )


def test_a_number_beyond_its_limits_keeps_the_text_as_it_is(site):
    assert_kept(
        site,
        [
            "0 Jan 25 10:00:00",
            "32 Jan 25 10:00:00",
            "-1 Jan 25 10:00:00",
            "5 Jan 25 24:00:00",
            "5 Jan 25 -1:00:00",
            "5 Jan 25 10:60:00",
            "5 Jan 25 10:-1:00",
            "5 Jan 25 10:00:61",
            "5 Jan 25 10:00:-1",
            "5 Jan -1 10:00:00",
            "261 Jan 25 10:00:00",
            "4294967301 Jan 25 10:00:00",
            "5 Jan 25 4294967306:00:00",
            "99999999999999999999 Jan 25 10:00:00",
            "5 Jan 25 10:00:99999999999999999999",
        ],
    )


def test_the_day_is_not_checked_against_the_month(site):
    rows = [("31 Feb 25 10:00:00", "02/31/25 10:00am"), ("31 Apr 24 10:00:00", "04/31/24 10:00am")]
    assert_dates(site, [*rows, ("29 Feb 23 10:00:00", "02/29/23 10:00am")])


def test_a_year_of_100_or_more_is_reduced_to_two_digits(site):
    years = {"0": "00", "5": "05", "99": "99", "100": "00", "101": "01", "1999": "99", "2000": "00", "2025": "25"}
    years |= {"9": "09", "007": "07", "12345": "45", "2147483647": "47"}
    assert_dates(site, [(f"5 Jan {year} 10:00:00", f"01/05/{two} 10:00am") for year, two in years.items()])


def test_a_name_that_is_no_three_letter_month_keeps_the_text_as_it_is(site):
    names = ("Foo", "January", "June", "Ja", "J", "Jan.", "Jan,", "Janx", "Sept", "1", "01", "Jan\xff", "September")
    assert_kept(site, [f"5 {name} 25 10:00:00" for name in names])


def test_at_most_7_characters_are_read_of_a_month_name(site):
    """What is left of a longer one would have to be the year."""
    assert_kept(site, ["5 Jan0000025 10:00:00", "5 January25 10:00:00", "5 January 25 10:00:00"])


def test_white_space_of_any_kind_may_stand_before_a_number_or_the_month(site):
    assert_dates(
        site,
        [
            ("5 Jan 25 10:00:00", "01/05/25 10:00am"),
            ("   5    Jan    25    10:00:00", "01/05/25 10:00am"),
            ("\t5\tJan\t25\t10:00:00", "01/05/25 10:00am"),
            ("\r\n5\r\nJan\r\n25\r\n10:00:00", "01/05/25 10:00am"),
            ("\v5\fJan\v25\f10:00:00", "01/05/25 10:00am"),
            ("5Jan 25 10:00:00", "01/05/25 10:00am"),
            ("5 Jan 25 10: 7: 9", "01/05/25 10:07am"),
            ("5 Jan 25 10:\t7:\n9", "01/05/25 10:07am"),
            ("+5 Jan +25 +10:+7:+9", "01/05/25 10:07am"),
            ("005 Jan 025 010:007:009", "01/05/25 10:07am"),
            ("5 Jan 25 -0:-0:-0", "01/05/25 12:00am"),
        ],
    )


def test_a_colon_has_to_follow_its_number_at_once(site):
    assert_kept(
        site,
        ["5 Jan 25 10 :00:00", "5 Jan 25 10:00 :00", "5 Jan 25 10.00.00", "5 Jan 25 10 00 00", "5 Jan 25 10::00:00"],
    )


def test_what_follows_the_seconds_is_not_read(site):
    rows = [("5 Jan 25 10:07:09" + rest, "01/05/25 10:07am") for rest in (" GMT", "x", ".5", ":00", "\xff", " 99")]
    assert_dates(site, rows)


def test_a_part_that_is_missing_keeps_the_text_as_it_is(site):
    assert_kept(
        site,
        [
            "",
            " ",
            "5",
            "5 ",
            "5 Jan",
            "5 Jan 25",
            "5 Jan 25 10",
            "5 Jan 25 10:",
            "5 Jan 25 10:00",
            "5 Jan 25 10:00:",
            "5 Jan 25 10:00:x",
            "Jan 5 25 10:00:00",
            "Sun 5 Jan 25 10:00:00",
            "5 25 Jan 10:00:00",
            "- Jan 25 10:00:00",
            "5 Jan x 10:00:00",
            "%d %s %n",
        ],
    )


def test_a_text_that_is_kept_is_cut_to_17_characters(site):
    texts = ["5 Foo 25 10:00:00"[:16], "5 Foo 25 10:00:00", "5 Foo 25 10:00:00x", "5 Foo 25  10:00:00 and more"]
    assert [len(text) for text in texts] == [16, 17, 18, 27]
    assert_kept(site, [*texts, b"\x80\xff" * 20, "\x1a\x01\t" * 8])
