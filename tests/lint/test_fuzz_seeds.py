"""The seeds of the fuzz targets are those of their generator, and each target has some."""

import re
import shutil
import subprocess
import sys

import pytest
import reliability_matrix as matrix
from fuzz import make_seeds
from source_tree import ROOT, fail_on, files_under

FUZZ = ROOT / "tests" / "fuzz"
NAME = re.compile(r"[a-z0-9]+(-[a-z0-9]+)*\.seed")


@pytest.fixture
def corpus(tmp_path):
    """A copy of the corpus."""
    return shutil.copytree(make_seeds.CORPUS, tmp_path / "corpus")


def test_the_corpus_is_what_the_generator_makes_and_what_is_known_to_be_found():
    fail_on(make_seeds.differences(make_seeds.CORPUS))


def test_each_target_has_seeds_and_all_seeds_a_target():
    targets = [path.stem for path in files_under("tests/fuzz/targets", suffixes=(".cc",))]
    assert sorted(targets) == sorted(make_seeds.made())
    fail_on([f"{target}: has no seeds" for target in targets if not any((make_seeds.CORPUS / target).glob("*.seed"))])


def test_every_file_of_the_corpus_is_replayed_and_its_name_is_good_on_any_system():
    files = [path for path in make_seeds.CORPUS.rglob("*") if path.is_file() and path.name != ".gitattributes"]
    assert files
    fail_on([f"{path.relative_to(make_seeds.CORPUS)}: is not TARGET/NAME.seed" for path in files
             if not NAME.fullmatch(path.name) or path.parents[1] != make_seeds.CORPUS])


def test_no_seed_is_made_twice_nor_made_and_found():
    complaints = []
    for target, seeds in make_seeds.made().items():
        there = make_seeds.found(make_seeds.CORPUS)
        first = {seed: name for name, seed in there.items() if name.startswith(f"{target}/")}
        for name, seed in seeds.items():
            if first.setdefault(seed, name) != name:
                complaints.append(f"{target}/{name}: is the same as {first[seed]}")
            if name.startswith(make_seeds.FOUND):
                complaints.append(f"{target}/{name}: is named like an input that was found")
    fail_on(complaints)


def test_a_seed_that_is_missing_added_or_edited_is_noticed(corpus):
    assert make_seeds.differences(corpus) == []
    (corpus / "utf8" / "plain.seed").unlink()
    (corpus / "utf8" / "new.seed").write_bytes(b"new")
    (corpus / "config" / "whole.seed").write_bytes(b"")
    (corpus / "nobody").mkdir()
    (corpus / "nobody" / "x.seed").write_bytes(b"x")
    assert make_seeds.differences(corpus) == [
        "config/whole.seed: differs from what is made",
        "nobody/x.seed: is not made",
        "utf8/plain.seed: is missing",
        "utf8/new.seed: is not made",
    ]
    shutil.rmtree(corpus / "packet")
    assert "packet/mail.seed: is missing" in make_seeds.differences(corpus)


def test_an_input_that_was_found_is_missed_when_it_goes_and_explained_when_it_comes(corpus):
    gone = corpus / next(iter(make_seeds.FOUND_INPUTS))
    gone.rename(gone.with_name("found-elsewhere.seed"))
    assert make_seeds.differences(corpus) == [
        f"{gone.relative_to(corpus).as_posix()}: is missing",
        f"{gone.parent.name}/found-elsewhere.seed: nobody says what it showed",
    ]


def test_the_generator_restores_a_corpus_and_keeps_what_was_found(corpus, monkeypatch):
    (corpus / "utf8" / "plain.seed").write_bytes(b"")
    (corpus / "utf8" / "new.seed").write_bytes(b"new")
    shutil.rmtree(corpus / "packet")
    found = make_seeds.found(corpus)
    monkeypatch.setattr("sys.argv", ["make_seeds.py", str(corpus)])
    make_seeds.main()
    assert make_seeds.differences(corpus) == []
    assert found and make_seeds.found(corpus) == found
    assert not (corpus / "utf8" / "new.seed").exists()


@pytest.fixture
def replay(tmp_path):
    """Replays one target, with a shell script as its program; returns the exit status and the rows of the matrix."""

    def run(script):
        program = tmp_path / "fuzz_packet"
        program.write_text(f"#!/bin/sh\n{script}\n", encoding="utf-8")
        program.chmod(0o755)
        command = [sys.executable, "-B", FUZZ / "run_targets.py", "replay", tmp_path, "--xml", tmp_path / "seeds.xml"]
        done = subprocess.run(command, stdout=subprocess.DEVNULL, check=False)
        return done.returncode, matrix.rows_of(tmp_path / "seeds.xml")

    return run


def test_the_replay_runs_every_seed_and_the_matrix_counts_what_it_ran(replay):
    seeds = list((make_seeds.CORPUS / "packet").iterdir())
    damages = 9 * (make_seeds.CORPUS / "packet" / "whole.seed").stat().st_size
    everything = 'shift; for seed; do echo "Running: $seed"; done; yes "  cut at 7" | head -n'
    assert replay(f"{everything} {damages}") == (0, {"packet": matrix.Row(1, len(seeds) + damages, 0, 0)})
    assert replay(f"{everything} {damages - 1}")[0] == 1


def test_a_replay_that_leaves_a_seed_out_has_failed(replay):
    status, rows = replay('shift 2; for seed; do echo "Running: $seed"; done')
    assert status == 1
    assert rows == {"packet": matrix.Row(1, len(list((make_seeds.CORPUS / "packet").iterdir())) - 1, 1, 0)}
