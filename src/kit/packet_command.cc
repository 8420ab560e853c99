#include <CLI/CLI.hpp>
#include <memory>
#include <set>
#include <sstream>
#include <vector>

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
#include "kit/site_state.h"
#include "kit/toss_forecast.h"
#include "kit/zip_salvage.h"

namespace {

constexpr int kPacketTries = 3;  // to read files that others are changing

struct PacketOptions {
  CommonOptions common;
  std::vector<std::string> files;
  int text = PacketView::kNone;
  int raw = PacketView::kNone;
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

int Extract(const KitSite& site, const PacketOptions& options) {
  RequireOutside(site, options.extract);
  (void)OsMakeDirectory(options.extract.c_str());
  int status = kAllIsWell;
  std::set<std::string> names;
  Json extracted = Json::array();
  for (const std::string& path : options.files) {
    ByteBuffer content;
    ReadInboundFile(path, &content);
    const size_t entries = UnpackBundle(content.data, content.size, [&](const UnpackedEntry& entry) {
      std::string name = SafeName(entry.name);
      for (int copy = 2; !names.insert(name).second; ++copy) name = std::to_string(copy) + "-" + SafeName(entry.name);
      WriteOutputFile(site, options.extract + "/" + name, entry.content, options.force);
      if (!entry.fault.empty()) status = kNeedsAttention;
      extracted.push_back({{"path", ShownName(path)},
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

// Fills in the bytes of message `number` of each packet in the files.
int ShowRaw(const PacketOptions& options, const std::vector<FileFacts>& files) {
  size_t shown = 0;
  for (const FileFacts& file : files) {
    for (const PacketFacts& packet : file.packets) {
      for (const MessageFacts& message : packet.messages) {
        if (message.number != options.raw) continue;
        Show(HexRows(message.raw));
        ++shown;
      }
    }
  }
  if (shown == 0) throw NotAnswered("--raw: there is no message " + std::to_string(options.raw));
  return kAllIsWell;
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

// Judges all files; repeats that when a run or the BBS has changed the message base meanwhile.
std::vector<FileFacts> Judge(const KitSite& site, const PacketOptions& options, bool* settled) {
  std::vector<FileFacts> files;
  for (int tries = 0; tries < kPacketTries; ++tries) {
    TossForecast forecast(site, options.raw);
    files.clear();
    for (const std::string& path : options.files) {
      ByteBuffer content;
      ReadInboundFile(path, &content);
      files.push_back(forecast.JudgeFile(path, content.data, content.size));
    }
    *settled = !forecast.HasChanged();
    if (*settled) break;
  }
  return files;
}

int RunPacket(const PacketOptions& options) {
  const int questions = (options.extract.empty() ? 0 : 1) + (options.without.empty() ? 0 : 1) +
                        (options.raw == PacketView::kNone ? 0 : 1);
  if (questions > 1) throw NotAnswered("--extract, --without and --raw exclude each other");
  const KitSite site = LoadKitSite(options.common.config);
  if (!options.extract.empty()) return Extract(site, options);
  if (!options.without.empty()) return WriteWithout(site, options);
  bool settled = true;
  const std::vector<FileFacts> files = Judge(site, options, &settled);
  if (options.raw != PacketView::kNone) return ShowRaw(options, files);

  const std::string unsettled = settled ? LookAtSite(site.config).Unsettled() : "the message base changes";
  PacketView view;
  view.text_of = options.text;
  if (options.common.json) {
    Json json = PacketJson(files);
    json["unsettled"] = TextOrNull(unsettled);
    ShowJson(json);
  } else {
    for (const FileFacts& file : files) Show(PacketText(file, view));
    if (!unsettled.empty()) Show("Unsettled: " + unsettled + ".\n");
  }
  return std::any_of(files.begin(), files.end(), NeedsAttention) ? kNeedsAttention : kAllIsWell;
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
