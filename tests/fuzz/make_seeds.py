"""Makes the seeds of the fuzz targets, corpus/TARGET/NAME.seed, with the builders of the end-to-end tests.

    PYTHONPATH=tests python3 -m fuzz.make_seeds [DIRECTORY]      (default: the corpus beside this file)

What is no longer made is removed. Inputs that fuzzing has found lie beside the seeds, as found-NAME.seed; they are left
alone, and FOUND_INPUTS says what each of them showed. tests/lint/test_fuzz_seeds.py holds the corpus to both.
"""

import pathlib
import sys

from fuzz.seeds import Seeds
from fuzz.seeds.mail import forecast, packet, zip_bundle
from fuzz.seeds.message_base import base_repair, outbound, scan_files, sig_lookups
from fuzz.seeds.site_files import conference_table, config, lock_owner, node_status, serial_file, site_texts
from fuzz.seeds.texts import fts_date, inbound_text, utf8

HERE = pathlib.Path(__file__).resolve().parent
CORPUS = HERE / "corpus"
SUFFIX = ".seed"
FOUND = "found-"
FOUND_INPUTS = {
    "serial_file/found-number-behind-blanks.seed": "a number behind 64 blanks was not seen, and the file refused",
    "serial_file/found-number-cut.seed": "of a number behind 60 blanks three digits were read, and serials repeated",
}

TARGETS = (config, conference_table, packet, zip_bundle, inbound_text, fts_date, utf8, sig_lookups, node_status,
           lock_owner, serial_file, scan_files, outbound, base_repair, forecast, site_texts)


def made() -> dict[str, Seeds]:
    """The seeds of each target by file name."""
    return {target.__name__: {name + SUFFIX: seed for name, seed in target().items()} for target in TARGETS}


def kept(directory: pathlib.Path) -> Seeds:
    """The files in a target's directory that were not found by fuzzing."""
    return {path.name: path.read_bytes() for path in directory.glob("*") if not path.name.startswith(FOUND)}


def found(corpus: pathlib.Path) -> Seeds:
    """The inputs that fuzzing has found, as TARGET/NAME."""
    paths = corpus.glob(f"*/{FOUND}*")
    return {path.relative_to(corpus).as_posix(): path.read_bytes() for path in paths}


def differences(corpus: pathlib.Path) -> list[str]:
    """How a corpus differs from the seeds that are made and the inputs that are known, one line for each file."""
    there = found(corpus)
    complaints = [f"{name}: is missing" for name in FOUND_INPUTS if name not in there]
    complaints += [f"{name}: nobody says what it showed" for name in sorted(there) if name not in FOUND_INPUTS]
    targets = made()
    for target in sorted(set(targets) | {path.name for path in corpus.iterdir() if path.is_dir()}):
        expected, there = targets.get(target, {}), kept(corpus / target)
        complaints += [f"{target}/{name}: is missing" for name in sorted(set(expected) - set(there))]
        complaints += [f"{target}/{name}: is not made" for name in sorted(set(there) - set(expected))]
        complaints += [f"{target}/{name}: differs from what is made" for name in sorted(set(there) & set(expected))
                       if there[name] != expected[name]]
    return complaints


def main() -> None:
    """Writes all seeds and removes files that are not seeds."""
    corpus = pathlib.Path(sys.argv[1]) if len(sys.argv) > 1 else CORPUS
    for target, seeds in made().items():
        directory = corpus / target
        directory.mkdir(parents=True, exist_ok=True)
        for name in set(kept(directory)) - set(seeds):
            (directory / name).unlink()
        for name, seed in seeds.items():
            (directory / name).write_bytes(seed)


if __name__ == "__main__":
    main()
