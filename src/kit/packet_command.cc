#include <CLI/CLI.hpp>
#include <functional>
#include <memory>
#include <set>
#include <sstream>
#include <vector>

#include "base/ascii.h"
#include "base/scan_number.h"
#include "base/whole_file.h"
#include "ftn/packet_reader.h"
#include "ftn/zip_reader.h"
#include "kit/kit_answer.h"
#include "kit/kit_command.h"
#include "kit/kit_output.h"
#include "kit/output_file.h"
#include "kit/packet_render.h"
#include "kit/packet_salvage.h"
#include "kit/progress.h"
#include "kit/site_files.h"
#include "kit/site_state.h"
#include "kit/toss_forecast.h"
#include "kit/zip_salvage.h"

namespace {

constexpr int kPacketTries = 3;  // to read files that others are changing

struct PacketOptions {
  CommonOptions common;
  std::vector<std::string> files;
  int text = kNoMessage;
  int raw = kNoMessage;
  std::string without;
  std::string output;
  std::string extract;
  bool force = false;
};

void ReadInboundFile(const std::string& path, ByteBuffer* content) {
  if (ReadWholeFile(path.c_str(), content, kLargestSource) != 0) {
    throw NotAnswered(ShownName(path) + " cannot be read");
  }
}

// Parses a list of numbers, "2,5,7".
std::set<int> Numbers(const std::string& list) {
  std::set<int> numbers;
  std::istringstream pieces(list);
  for (std::string piece; std::getline(pieces, piece, ',');) {
    const char* at = piece.c_str();
    int32_t number = 0;
    if (!ScanInt32(&at, &number) || *at != '\0')
      throw NotAnswered("--without: these are no numbers: " + ShownName(list));
    numbers.insert(number);
  }
  return numbers;
}

// Returns the packet in the file: the file itself, or the only entry of a bundle.
std::string TheOnePacket(const std::string& path) {
  ByteBuffer content;
  ReadInboundFile(path, &content);
  std::string packet(reinterpret_cast<const char*>(content.data), content.size);
  if (LooksLikeZip(content.data, content.size)) {
    const size_t entries =
        UnpackBundle(content.data, content.size, [&packet](const UnpackedEntry& entry) { packet = entry.content; });
    if (entries != 1) throw NotAnswered(ShownName(path) + " holds several packets: unpack it first (--extract)");
  }
  if (!LooksLikePacket(reinterpret_cast<const uint8_t*>(packet.data()), packet.size())) {
    throw NotAnswered(ShownName(path) + " is no packet");
  }
  return packet;
}

int WriteWithout(const KitSite& site, const PacketOptions& options) {
  if (options.files.size() != 1) throw NotAnswered("--without takes one file");
  if (options.output.empty()) throw NotAnswered("--without needs -o: the file to write");
  const std::string packet = TheOnePacket(options.files[0]);
  const auto* const bytes = reinterpret_cast<const uint8_t*>(packet.data());
  const std::set<int> left_out = Numbers(options.without);
  std::optional<PacketFault> fault;
  const std::vector<FoundMessage> found = FindMessages(bytes, packet.size(), &fault);
  if (*left_out.begin() < 1 || *left_out.rbegin() > static_cast<int>(found.size())) {
    throw NotAnswered("--without: there are messages 1 to " + std::to_string(found.size()));
  }
  WriteOutputFile(site, options.output, PacketWithout(bytes, packet.size(), left_out), options.force);
  int number = 0;
  size_t kept = 0;
  for (const FoundMessage& message : found) kept += message.whole && left_out.count(++number) == 0 ? 1 : 0;
  Show(ShownName(options.output) + ": " + std::to_string(kept) + " message(s) kept of " + std::to_string(found.size()) +
       "\n");
  return kAllIsWell;
}

std::string InCapitals(std::string text) {
  UpperText(text.data());
  return text;
}

int Extract(const KitSite& site, const PacketOptions& options) {
  RequireOutside(site, options.extract);
  (void)OsMakeDirectory(options.extract.c_str());
  int status = kAllIsWell;
  std::set<std::string> names;  // in capitals: to some file systems names that differ by case only are the same
  Json extracted = Json::array();
  for (const std::string& path : options.files) {
    ByteBuffer content;
    ReadInboundFile(path, &content);
    const size_t entries = UnpackBundle(content.data, content.size, [&](const UnpackedEntry& entry) {
      std::string name = SafeName(entry.name);
      for (int copy = 2; !names.insert(InCapitals(name)).second; ++copy) {
        name = std::to_string(copy) + "-" + SafeName(entry.name);
      }
      WriteOutputFile(site, options.extract + "/" + name, entry.content, options.force);
      if (!entry.fault.empty()) status = kNeedsAttention;
      extracted.push_back({{"path", path},
                           {"entry", DecodedMail(entry.name)},
                           {"file", name},
                           {"size", entry.content.size()},
                           {"fault", TextOrNull(entry.fault)}});
      if (!options.common.json) {
        Show(name + ": " + std::to_string(entry.content.size()) + " bytes" +
             (entry.fault.empty() ? "" : Coloured(kBad, " -- " + entry.fault)) + "\n");
      }
    });
    if (entries == 0) throw NotAnswered(ShownName(path) + " holds no ZIP entry");
  }
  if (options.common.json) ShowJson({{"extracted", extracted}});
  return status;
}

bool NeedsAttention(const FileFacts& file) {
  if (file.fate != kFateProcessed) return true;
  for (const PacketFacts& packet : file.packets) {
    for (const MessageFacts& message : packet.messages) {
      if (message.verdict == kVerdictDropped || message.verdict == kVerdictDamaged) return true;
    }
  }
  return false;
}

// Returns the sum of the files' sizes.
uint64_t SizeOf(const std::vector<std::string>& paths) {
  uint64_t size = 0;
  for (const std::string& path : paths) {
    const FoundFile file = LookAtFile(path);
    if (!file.exists) throw NotAnswered(ShownName(path) + " cannot be read");
    size += static_cast<uint64_t>(file.status.size);
  }
  return size;
}

// Judges files in their order. Only one of them is in memory at a time.
class PacketJudging {
 public:
  PacketJudging(const KitSite& site, const PacketOptions& options)
      : site_(site), options_(options), progress_("judging", SizeOf(options.files)) {
    Restart();
  }

  // Passes each file to `take`. When a run or the BBS has changed the message base meanwhile, the file is judged again,
  // after those before it.
  void Run(const std::function<void(const FileFacts&)>& take) {
    for (size_t i = 0; i < options_.files.size(); ++i) {
      FileFacts facts = Judge(i);
      for (int tries = 1; forecast_->HasChanged(); ++tries) {
        if (tries == kPacketTries || i != 0) settled_ = false;
        if (tries == kPacketTries) break;
        Restart();
        for (size_t again = 0; again < i; ++again) (void)Judge(again);
        facts = Judge(i);
      }
      progress_.Add(size_);
      if (OsIsTerminal(kOsStdout)) progress_.Clear();
      take(facts);
    }
    progress_.Clear();
  }

  // Whether the verdicts belong to one state of the message base.
  bool IsSettled() const { return settled_; }

 private:
  void Restart() { forecast_ = std::make_unique<TossForecast>(site_, KeptBytes{options_.text, options_.raw}); }

  FileFacts Judge(size_t file) {
    ByteBuffer content;
    ReadInboundFile(options_.files[file], &content);
    size_ = content.size;
    return forecast_->JudgeFile(options_.files[file], content.data, content.size);
  }

  const KitSite& site_;
  const PacketOptions& options_;
  Progress progress_;
  std::unique_ptr<TossForecast> forecast_;
  size_t size_ = 0;  // bytes of the last file
  bool settled_ = true;
};

// Shows the bytes of one message of each packet.
int ShowRaw(const PacketOptions& options, PacketJudging* judging) {
  size_t shown = 0;
  judging->Run([&](const FileFacts& file) {
    for (const PacketFacts& packet : file.packets) {
      for (const MessageFacts& message : packet.messages) {
        if (message.number != options.raw) continue;
        Show(HexRows(message.raw));
        ++shown;
      }
    }
  });
  if (shown == 0) throw NotAnswered("--raw: there is no message " + std::to_string(options.raw));
  return kAllIsWell;
}

int RunPacket(const PacketOptions& options) {
  const int questions =
      (options.extract.empty() ? 0 : 1) + (options.without.empty() ? 0 : 1) + (options.raw == kNoMessage ? 0 : 1);
  if (questions > 1) throw NotAnswered("--extract, --without and --raw exclude each other");
  const KitSite site = LoadKitSite(options.common.config);
  if (!options.extract.empty()) return Extract(site, options);
  if (!options.without.empty()) return WriteWithout(site, options);
  PacketJudging judging(site, options);
  if (options.raw != kNoMessage) return ShowRaw(options, &judging);

  const bool json = options.common.json;
  int status = kAllIsWell;
  std::string before = "{\"files\": [\n";  // what stands before the next file
  judging.Run([&](const FileFacts& file) {
    if (NeedsAttention(file)) status = kNeedsAttention;
    Show(json ? before + FileJson(file) : FileText(file));
    before = ",\n";
  });
  const std::string unsettled = judging.IsSettled() ? LookAtSite(site.config).Unsettled() : "the message base changes";
  if (json) {
    Show("\n], \"unsettled\": " + JsonText(TextOrNull(unsettled), -1) + "}\n");
  } else if (!unsettled.empty()) {
    Show("Unsettled: " + unsettled + ".\n");
  }
  return status;
}

}  // namespace

void AddPacket(CLI::App* program, int* status) {
  const auto options = std::make_shared<PacketOptions>();
  CLI::App* const command =
      program->add_subcommand("packet", "What is in packets and bundles, and what the toss would do with them");
  AddCommonOptions(command, &options->common);
  command->add_option("FILE", options->files, "Packets and bundles, in the order in which they would be tossed")
      ->required()
      ->type_name("");
  command->add_option("--text", options->text, "Show the text of message N, or of all")->type_name("[N]");
  command->add_option("--raw", options->raw, "Show the packed bytes of message N")->type_name("N");
  command->add_option("--without", options->without, "Write the packet, less these messages, to the file of -o")
      ->type_name("N,...");
  command->add_option("-o,--output", options->output, "The file that --without writes")->type_name("FILE");
  command->add_option("--extract", options->extract, "Unpack bundles into DIR, also those that the toss retains")
      ->type_name("DIR");
  command->add_flag("--force", options->force, "Replace files that are there already");
  command->callback([options, status] { *status = RunPacket(*options); });
}
