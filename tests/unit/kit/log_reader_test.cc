#include "kit/log_reader.h"

#include <gtest/gtest.h>
#include <zlib.h>

#include <string>
#include <vector>

#include "kit/log_runs.h"
#include "kit/log_tail.h"
#include "unit/support/temporary_directory.h"
#include "unit/support/test_files.h"

namespace {

const std::string kStamp = "[2026-11-22 03:10:00] ";

LogRecord Read(const char* text) {
  LogRecord record;
  ReadLogText(text, &record);
  return record;
}

std::string Packed(const std::string& text) {
  z_stream stream = {};
  EXPECT_EQ(deflateInit2(&stream, 6, Z_DEFLATED, 16 + MAX_WBITS, 8, Z_DEFAULT_STRATEGY), Z_OK);
  std::string packed(deflateBound(&stream, static_cast<uLong>(text.size())) + 64, '\0');
  stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(text.data()));
  stream.avail_in = static_cast<uInt>(text.size());
  stream.next_out = reinterpret_cast<Bytef*>(packed.data());
  stream.avail_out = static_cast<uInt>(packed.size());
  EXPECT_EQ(deflate(&stream, Z_FINISH), Z_STREAM_END);
  packed.resize(stream.total_out);
  (void)deflateEnd(&stream);
  return packed;
}

class LogReader : public testing::Test {
 protected:
  std::string Path(const std::string& name) const { return directory_ / name; }

  // The texts of the lines in all parts of the log.
  std::vector<std::string> Texts() const {
    std::vector<std::string> texts;
    ReadLog(FindLogParts(Path("TOSSER.LOG")), [&texts](const LogRecord& record) {
      texts.emplace_back(record.text);
      return true;
    });
    return texts;
  }

  TemporaryDirectory directory_;
};

std::vector<LoggedRun> RunsOf(const std::vector<const char*>& texts) {
  std::vector<LoggedRun> runs;
  LogRuns logged([&runs](const LoggedRun& run) { runs.push_back(run); });
  for (const char* text : texts) {
    LogRecord record = Read(text);
    record.stamp = std::string_view(kStamp).substr(1, 19);
    logged.Take(record);
  }
  logged.Finish();
  return runs;
}

constexpr char kToss[] = "=== cvtoss32 v1.05 Beta 5 -toss run starting ===";
constexpr char kScan[] = "=== cvtoss32 v1.05 Beta 5 -scan run starting ===";
constexpr char kCheck[] = "=== cvtoss32 v1.05 Beta 5 -check starting (read-only diagnostics) ===";
constexpr char kLoaded[] = "Loaded 2 conference(s) from CVMCONF.DAT";
constexpr char kTossed[] = "=== cvtoss32 -toss run complete: 3 file(s) processed ===";
constexpr char kWrote[] = "  -> wrote conf 1 msg #1  From='A' To='B' Subj='C' (1 records)";
constexpr char kRefused[] = "Aborting: another cvtoss32 -toss/-scan instance appears to be running (MSG/CVTOSS.BSY)";

}  // namespace

TEST(LogPatterns, ValuesAreTakenFromALine) {
  LogRecord record = Read("  msg 12: duplicate (MSGID 2:250/1 0a already seen in conf 7) -- SKIPPED");
  EXPECT_EQ(record.event, LogEvent::kDuplicate);
  EXPECT_EQ(record.numbers, (std::array<int64_t, 4>{12, 7, 0, 0}));
  EXPECT_EQ(record.value, "2:250/1 0a");
  record = Read("  unexpected message-type word 0xbeEF at offset 17, stopping");
  EXPECT_EQ(record.event, LogEvent::kPacketFault);
  EXPECT_EQ(record.numbers[0], 0xBEEF);
  EXPECT_EQ(record.numbers[1], 17);
  record = Read("Published complete bundle: OUT/a.su0  (123 byte packet, entry '0.pkt', 4 message(s))");
  EXPECT_EQ(record.event, LogEvent::kPublished);
  EXPECT_EQ(record.numbers[0], 4);
}

TEST(LogPatterns, NothingIsReadBehindFrom) {
  const LogRecord record = Read("  -> wrote conf 3 msg #-4  From='  -> wrote conf 9 msg #9  From=");
  EXPECT_EQ(record.event, LogEvent::kStored);
  EXPECT_EQ(record.numbers, (std::array<int64_t, 4>{3, -4, 0, 0}));
  EXPECT_EQ(record.value, "");
  EXPECT_EQ(Read("  -> wrote conf 3 msg #4").event, LogEvent::kOther);
}

TEST(LogPatterns, WhatMailNamesDoesNotDecideWhereItEnds) {
  LogRecord record =
      Read("  msg 1: duplicate (MSGID x already seen in conf 9) -- SKIPPED already seen in conf 2) -- SKIPPED");
  EXPECT_EQ(record.numbers[1], 2);
  EXPECT_EQ(record.value, "x already seen in conf 9) -- SKIPPED");
  record = Read("  ZIP entry: a (method=0, 1 -> 2 bytes) (method=8, 30 -> 40 bytes)");
  EXPECT_EQ(record.event, LogEvent::kZipEntry);
  EXPECT_EQ(record.numbers, (std::array<int64_t, 4>{8, 30, 40, 0}));
  EXPECT_EQ(record.value, "a (method=0, 1 -> 2 bytes)");
}

TEST(LogPatterns, WhatOnlyLooksLikeALineIsNone) {
  for (const char* text :
       {"", "x", "  ", "  msg : duplicate", "  msg 1: duplicate (MSGID x already seen in conf ) -- SKIPPED",
        "  msg 1: netmail with no NetMailConf=1 conference configured -- SKIPPED!", "Found", "  moved t",
        "  99999999999999999999 message(s) parsed from this packet", "  packet: orig 1:2/3.4 -> dest 1:2/3",
        "  unexpected message-type word 0x at offset 17, stopping", "  queued conf 1 msg #"}) {
    const LogRecord record = Read(text);
    EXPECT_EQ(record.event, LogEvent::kOther) << text;
    EXPECT_EQ(record.numbers, (std::array<int64_t, 4>{})) << text;
    EXPECT_EQ(record.text, text);
  }
}

TEST_F(LogReader, TakesWholeStampedLinesOnly) {
  WriteFile(Path("TOSSER.LOG"), kStamp + "one\r\n" + "no stamp\n" + kStamp + std::string("t\0wo", 4) + "\n" +
                                    "[2026-11-22 03:10:0x] three\n\n" + kStamp + std::string(5000, 'x') + "\n" +
                                    std::string(600'000, '\xFF') + "\n" + kStamp + "four\n" + kStamp + "cut off");
  EXPECT_EQ(Texts(), (std::vector<std::string>{"one", std::string("t\0wo", 4), "four"}));
}

TEST_F(LogReader, LinesThatLieAcrossTwoReadingsAreWhole) {
  std::string log;
  std::vector<std::string> expected;
  for (int i = 0; log.size() < 600'000; ++i) {
    expected.push_back(std::string(static_cast<size_t>(i % 97), 'y') + std::to_string(i));
    log += kStamp + expected.back() + "\n";
  }
  WriteFile(Path("TOSSER.LOG"), log);
  EXPECT_EQ(Texts(), expected);
  WriteFile(Path("TOSSER.LOG"), "");
  WriteFile(Path("TOSSER.LOG.2.gz"), Packed(log));
  EXPECT_EQ(Texts(), expected);
}

TEST_F(LogReader, TakesTheRotatedPartsByTheirTimes) {
  const auto part = [](const char* day, const char* text) {
    return std::string("[2026-11-") + day + " 00:00:00] " + text + "\n";
  };
  // First, for Windows takes "TOSSER.LOG." for the log itself.
  for (const char* other : {"TOSSER.LOG.", "TOSSER.LOG.bak", "TOSSER.LOG.123456789", "TOSSER.LOG.gz", "TOSSER.LOGS.1",
                            "XTOSSER.LOG.1", "TOSSER.LOG_1"}) {
    WriteFile(Path(other), part("01", "other"));
  }
  WriteFile(Path("TOSSER.LOG"), part("22", "five"));
  WriteFile(Path("TOSSER.LOG.1"), part("21", "four"));
  WriteFile(Path("TOSSER.LOG.2"), part("20", "three"));
  WriteFile(Path("TOSSER.LOG.2.gz"), "being packed");
  WriteFile(Path("TOSSER.LOG.10.gz"), Packed(part("18", "one")) + Packed(part("18", "one more")));
  WriteFile(Path("TOSSER.LOG-20261119"), part("19", "two"));
  MakeDirectory(Path("TOSSER.LOG.4"));
  EXPECT_EQ(Texts(), (std::vector<std::string>{"one", "one more", "two", "three", "four", "five"}));
}

TEST_F(LogReader, StopsWhenNoMoreIsWantedAndSaysHowFarItCame) {
  WriteFile(Path("TOSSER.LOG"), kStamp + "one\n" + kStamp + "two\n");
  WriteFile(Path("TOSSER.LOG.2.gz"), Packed("[2026-11-21 00:00:00] zero\n"));
  for (const size_t wanted : {size_t{1}, size_t{2}, size_t{3}}) {
    size_t seen = 0;
    size_t bytes = 0;
    ReadLog(
        FindLogParts(Path("TOSSER.LOG")), [&](const LogRecord&) { return ++seen < wanted; },
        [&bytes](size_t more) { bytes += more; });
    EXPECT_EQ(seen, wanted);
    EXPECT_EQ(bytes > 0, wanted > 1);
  }
}

TEST_F(LogReader, OfALogThatIsNotThereNothingIsRead) {
  EXPECT_EQ(FindLogParts(Path("TOSSER.LOG")), std::vector<std::string>());
  ReadLog({Path("TOSSER.LOG")}, [](const LogRecord&) { return true; });
}

TEST_F(LogReader, TheEndIsReadBackIntoTheRotatedParts) {
  const std::string banner = "=== cvtoss32 v1.05 Beta 5 -toss run starting ===\r\n";
  const auto part = [&banner](const char* name) { return kStamp + banner + kStamp + name + "\r\n"; };
  WriteFile(Path("TOSSER.LOG.3"), "[2026-11-20 00:00:00] " + banner + kStamp + "one\n");
  WriteFile(Path("TOSSER.LOG.2.gz"), Packed(part("two") + part("three")));
  for (const bool has_log : {false, true}) {
    if (has_log) WriteFile(Path("TOSSER.LOG"), part("four") + kStamp + "cut off");
    const std::vector<std::string> all = has_log ? std::vector<std::string>{"one", "two", "three", "four"}
                                                 : std::vector<std::string>{"one", "two", "three"};
    LogTail log(Path("TOSSER.LOG"));
    for (size_t wanted = 1; wanted <= all.size(); ++wanted) {
      size_t marks = 0;
      int64_t from = 0;
      log.EachMarkBackwards([&](std::string_view, int64_t at) {
        from = at;
        return ++marks < wanted;
      });
      EXPECT_EQ(marks, wanted);
      std::vector<std::string> texts;
      log.EachLine(from, [&texts](std::string_view line) {
        if (line.find("===") == std::string_view::npos) texts.emplace_back(line.substr(kStamp.size()));
      });
      EXPECT_EQ(texts, std::vector<std::string>(all.end() - static_cast<ptrdiff_t>(wanted), all.end()));
    }
  }
}

TEST(LogRuns, ARunIsCountedFromItsFirstLineToItsLast) {
  const std::vector<LoggedRun> runs = RunsOf(
      {kToss, kLoaded, "Found: a", kWrote, kWrote, "  msg 3: duplicate (MSGID x already seen in conf 1) -- SKIPPED",
       "  truncated message text, stopping", "  moved to a",
       "Ignored 4 unrelated inbound file(s) (not ZIP bundles or valid FTS-0001 packets).", kTossed});
  ASSERT_EQ(runs.size(), 1U);
  const LoggedRun& run = runs[0];
  EXPECT_EQ(run.mode, RunMode::kToss);
  EXPECT_EQ(run.end, RunEnd::kComplete);
  EXPECT_EQ(run.started, "2026-11-22 03:10:00");
  EXPECT_EQ(run.last, "2026-11-22 03:10:00");
  EXPECT_EQ(run.done, 3);
  EXPECT_EQ(run.stored, 2);
  EXPECT_EQ(run.duplicates, 1);
  EXPECT_EQ(run.damaged, 1);
  EXPECT_EQ(run.ignored, 4);
  EXPECT_EQ(run.errors, 0);
}

TEST(LogRuns, HowARunEnds) {
  const auto end_of = [](const std::vector<const char*>& texts) {
    const std::vector<LoggedRun> runs = RunsOf(texts);
    return runs.size() == 1 ? runs[0].end : RunEnd::kNotEnded;
  };
  EXPECT_EQ(end_of({kToss, kLoaded, "  ERROR: could not make stored mail durable; source remains inbound", kTossed}),
            RunEnd::kWithErrors);
  EXPECT_EQ(end_of({kToss, kLoaded, "ERROR: could not read inbound dir IN to its end; the rest waits for the next run",
                    kTossed}),
            RunEnd::kWithErrors);
  EXPECT_EQ(end_of({kToss, kLoaded, "  retaining ZIP in inbound because at least one entry failed"}),
            RunEnd::kNotEnded);
  EXPECT_EQ(end_of({kToss, "Aborting: conference configuration validation failed"}), RunEnd::kAborted);
  EXPECT_EQ(end_of({kToss, kLoaded, "Aborting: unable to verify that Corvane nodes are free"}), RunEnd::kAborted);
  EXPECT_EQ(end_of({kToss, kLoaded, "ERROR: lost the run lock MSG/CVTOSS.BSY; stopping"}), RunEnd::kAborted);
  EXPECT_EQ(end_of({kScan, kRefused}), RunEnd::kRefused);
  EXPECT_EQ(end_of({kScan, kLoaded, "=== cvtoss32 -scan run complete: 0 message(s) exported ==="}), RunEnd::kComplete);
  EXPECT_EQ(
      end_of(
          {kScan, kLoaded,
           "=== cvtoss32 -scan completed with COMMIT ERRORS: bundle is valid and retained; review log before retry ==="}),
      RunEnd::kWithErrors);
  EXPECT_EQ(end_of({kCheck, kLoaded, "=== cvtoss32 -check FAILED: 2 issue(s) require attention ==="}),
            RunEnd::kWithErrors);
  EXPECT_EQ(end_of({kCheck, "=== cvtoss32 -check PASSED: configuration and FTN message bases look safe ==="}),
            RunEnd::kComplete);
  EXPECT_EQ(RunsOf({"  moved to x", kTossed, kRefused}).size(), 0U);  // the log begins within a run
}

TEST(LogRuns, RunsThatWriteAtTheSameTimeAreToldApart) {
  const std::vector<LoggedRun> runs =
      RunsOf({kToss, kLoaded, kWrote, kScan, kWrote, kCheck, kLoaded, kRefused, kWrote,
              "=== cvtoss32 -check PASSED: configuration and FTN message bases look safe ===", kTossed, kToss, kLoaded,
              kWrote, kToss, kLoaded, kTossed});
  ASSERT_EQ(runs.size(), 5U);
  EXPECT_EQ(runs[2].stored, 3);
  EXPECT_EQ(runs[2].end, RunEnd::kComplete);
  EXPECT_EQ(runs[3].end, RunEnd::kNotEnded);
  EXPECT_EQ(runs[3].stored, 1);
  EXPECT_EQ(runs[4].end, RunEnd::kComplete);
}
