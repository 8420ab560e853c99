// A configuration file: the value that each line sets, the message about each bad line, and that a file written from
// the loaded values loads to the same values.
#include "app/config.h"

#include <algorithm>
#include <cstring>
#include <initializer_list>
#include <map>

#include "fuzz/model/plain_text.h"
#include "fuzz/support/input.h"
#include "fuzz/support/memory_files.h"
#include "fuzz/support/rule.h"

namespace {

constexpr char kPath[] = "CVTOSS32.CFG";

const std::map<std::string, size_t>& MostCharacters() {
  static const std::map<std::string, size_t> most = {{"INBOUND", 255}, {"CONFDIR", 255}, {"WORKDIR", 255},
                                                     {"MSGDIR", 255},  {"OUTDIR", 255},  {"PROCESSEDDIR", 255},
                                                     {"SYSTEM", 63},   {"PKTPW", 8}};
  return most;
}

// The values in a file, by directive: the text, "zone:net/node.point", or "1" and "0" of KEEPPROCESSED.
struct ModelConfig {
  std::map<std::string, std::string> values;
  int errors = 0;
  int warnings = 0;
};

void TakeText(const std::string& keyword, const std::string& value, ModelConfig* model) {
  if (value.empty() || value.size() > MostCharacters().at(keyword)) {
    ++model->errors;
  } else {
    model->values[keyword] = value;
  }
}

void TakeAddress(const std::string& keyword, const std::string& value, ModelConfig* model) {
  int32_t numbers[4] = {};
  if (ReadAddress(value, numbers) < 3) {
    ++model->errors;
    if (model->values.count(keyword) == 0) return;
  }
  model->values[keyword] = std::to_string(numbers[0]) + ":" + std::to_string(numbers[1]) + "/" +
                           std::to_string(numbers[2]) + "." + std::to_string(numbers[3]);
}

void TakeLine(const std::string& whole, ModelConfig* model) {
  const std::string line = TrimmedEnd(TrimmedStart(whole, " \t"), " \t\r\n");
  if (line.empty() || line[0] == ';') return;
  const size_t length = std::min<size_t>({line.find_first_of(" \t"), line.size(), 31});
  const std::string keyword = Capitals(line.substr(0, length));
  const std::string value = TrimmedStart(line.substr(length), " \t");
  if (MostCharacters().count(keyword) == 1) {
    TakeText(keyword, value, model);
  } else if (keyword == "ADDRESS" || keyword == "HUB") {
    TakeAddress(keyword, value, model);
  } else if (keyword != "KEEPPROCESSED") {
    ++model->warnings;
  } else {
    const std::string word = " " + Capitals(value.substr(0, 15)) + " ";
    if (word == " NO " || word == " N " || word == " 0 ") {
      model->values[keyword] = "0";
    } else if (word == " YES " || word == " Y " || word == " 1 ") {
      model->values[keyword] = "1";
    } else {
      ++model->errors;
    }
  }
}

ModelConfig ReadConfig(const std::string& content) {
  ModelConfig model;
  const std::string text = content.substr(0, content.find('\x1A'));
  for (const std::string& line : ReadLines(text, 512)) TakeLine(line, &model);
  return model;
}

std::string Turned(std::string directory) {
  std::replace(directory.begin(), directory.end(), '/', '\\');
  return directory;
}

std::string Shown(const FtnAddress& address) {
  return std::to_string(address.Zone) + ":" + std::to_string(address.Net) + "/" + std::to_string(address.Node) + "." +
         std::to_string(address.Point);
}

struct Directory {
  const char* keyword;
  const char* loaded;
};

void CheckLoaded(const ModelConfig& model, const TosserConfig& config) {
  const auto has = [&model](const char* keyword) { return static_cast<int>(model.values.count(keyword)); };
  const auto given = [&model](const char* keyword, const char* otherwise) {
    const auto found = model.values.find(keyword);
    return found != model.values.end() ? found->second : otherwise;
  };
  const std::string derived = has("CONFDIR") == 1 ? given("CONFDIR", "") + "\\WORK" : "";
  MustEqual(config.WorkDir, Turned(given("WORKDIR", derived.c_str())), "WORKDIR is given or derived");
  for (const auto& [keyword, loaded] : std::initializer_list<Directory>{{"INBOUND", config.Inbound},
                                                                        {"CONFDIR", config.ConfDir},
                                                                        {"MSGDIR", config.MsgDir},
                                                                        {"OUTDIR", config.OutDir},
                                                                        {"PROCESSEDDIR", config.ProcessedDir}}) {
    MustEqual(loaded, Turned(given(keyword, "")), "a directory is the last one given, with its slashes turned");
  }
  for (const char* directory :
       {config.Inbound, config.ConfDir, config.WorkDir, config.MsgDir, config.OutDir, config.ProcessedDir}) {
    Must(strlen(directory) <= 255 && strchr(directory, '/') == nullptr, "a directory has its length and no slash");
  }
  MustEqual(config.SystemName, given("SYSTEM", ""), "SYSTEM is the last one given");
  MustEqual(config.PacketPassword, given("PKTPW", ""), "PKTPW is the last one given");
  MustEqual(std::to_string(config.KeepProcessed), given("KEEPPROCESSED", "1"), "KEEPPROCESSED is the last one given");
  MustEqual(Shown(config.OurAddress), given("ADDRESS", "0:0/0.0"), "ADDRESS is the last one given");
  MustEqual(Shown(config.HubAddress), given("HUB", "0:0/0.0"), "HUB is the last one given");
  Must(config.HaveInbound == has("INBOUND") && config.HaveConfDir == has("CONFDIR") &&
           config.HaveMsgDir == has("MSGDIR") && config.HaveOutDir == has("OUTDIR") &&
           config.HaveSystem == has("SYSTEM") && config.HaveAddress == has("ADDRESS") && config.HaveHub == has("HUB"),
       "what is said to be there was given");
}

// Returns a file with the same values.
std::string Written(const TosserConfig& config) {
  std::string text;
  for (const auto& [keyword, value] : std::initializer_list<Directory>{{"INBOUND", config.Inbound},
                                                                       {"CONFDIR", config.ConfDir},
                                                                       {"WORKDIR", config.WorkDir},
                                                                       {"MSGDIR", config.MsgDir},
                                                                       {"OUTDIR", config.OutDir},
                                                                       {"PROCESSEDDIR", config.ProcessedDir},
                                                                       {"SYSTEM", config.SystemName},
                                                                       {"PKTPW", config.PacketPassword}}) {
    if (*value != '\0') text += std::string(keyword) + "\t" + value + "\r\n";
  }
  if (config.HaveAddress != 0) text += "ADDRESS " + Shown(config.OurAddress) + "\n";
  if (config.HaveHub != 0) text += "HUB " + Shown(config.HubAddress) + "\n";
  return text + (config.KeepProcessed != 0 ? "KEEPPROCESSED Yes" : "KEEPPROCESSED No");
}

void CheckLoadsAgain(const TosserConfig& config, MemoryFiles* system) {
  system->files[kPath] = Written(config);
  TosserConfig again;
  MustEqual(LoadConfig(kPath, &again), 0, "what was loaded loads again");
  MustEqual(Written(again), Written(config), "what was loaded loads again as the same");
}

}  // namespace

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  MemoryFiles system;
  const std::string content = Input(data, size).TakeRest();
  system.files[kPath] = content;
  const ModelConfig model = ReadConfig(content);
  TosserConfig config;
  const int result = LoadConfig(kPath, &config);

  const int warnings = system.CountStartup("Warning: unrecognized config directive '");
  const int derived = system.CountStartup("Derived WORKDIR path is too long");
  const auto lines = static_cast<int>(system.startup.size());
  MustEqual(warnings, model.warnings, "each unknown directive draws a warning");
  MustEqual(lines - warnings - derived, model.errors, "each bad line draws a message");
  for (const std::string& line : system.startup) Must(line.back() == '\n', "each message is a line");
  const auto conf_dir = model.values.find("CONFDIR");
  const bool too_long = model.errors == 0 && conf_dir != model.values.end() && conf_dir->second.size() > 250 &&
                        model.values.count("WORKDIR") == 0;
  Must((derived == 1) == too_long, "a CONFDIR of 251 characters leaves no room for \\WORK");
  MustEqual(result, model.errors != 0 || too_long ? -1 : 0, "a file without an error loads");
  if (result != 0) return 0;
  CheckLoaded(model, config);
  CheckLoadsAgain(config, &system);
  return 0;
}
