#include "app/config.h"

#include <cstdio>
#include <cstring>
#include <initializer_list>

#include "app/run_log.h"
#include "base/ascii.h"
#include "base/fixed_text.h"
#include "base/text_file.h"
#include "platform/os.h"

namespace {

constexpr size_t kKeywordSize = 32;
constexpr size_t kSwitchSize = 16;

bool IsBlank(char c) { return c == ' ' || c == '\t'; }

bool IsBlankOrLineEnd(char c) { return IsBlank(c) || c == '\r' || c == '\n'; }

void TrimEnd(char* text) {
  size_t length = strlen(text);
  while (length > 0 && IsBlankOrLineEnd(text[length - 1])) text[--length] = '\0';
}

const char* SkipBlanks(const char* text) {
  while (IsBlank(*text)) ++text;
  return text;
}

// A directive whose value is text, and where the value is stored.
struct TextDirective {
  const char* keyword;
  char* text;
  size_t size;  // with the NUL
  int* have;    // nullptr for a directive that counts as missing while its text is empty
};

int StoreText(const TextDirective& directive, const char* value) {
  if (*value == '\0') {
    StartupMessage("Config directive %s has an empty value\n", directive.keyword);
    return 1;
  }
  const size_t length = strlen(value);
  if (length >= directive.size) {
    StartupMessage("Config directive %s is too long (maximum %lu characters)\n", directive.keyword,
                   static_cast<unsigned long>(directive.size - 1));
    return 1;
  }
  memcpy(directive.text, value, length + 1);
  if (directive.have != nullptr) *directive.have = 1;
  return 0;
}

int StoreKeepProcessed(const char* value, TosserConfig* config) {
  char word[kSwitchSize];
  CopyCut(word, value);
  UpperText(word);
  for (const char* no : {"NO", "N", "0"}) {
    if (strcmp(word, no) == 0) {
      config->KeepProcessed = 0;
      return 0;
    }
  }
  for (const char* yes : {"YES", "Y", "1"}) {
    if (strcmp(word, yes) == 0) {
      config->KeepProcessed = 1;
      return 0;
    }
  }
  StartupMessage("Invalid KEEPPROCESSED value '%s' (use yes or no)\n", value);
  return 1;
}

// Stores one directive. Returns the number of errors, 0 or 1.
int StoreDirective(const char* keyword, const char* value, TosserConfig* config) {
  const TextDirective texts[] = {
      {"INBOUND", config->Inbound, sizeof config->Inbound, &config->HaveInbound},
      {"CONFDIR", config->ConfDir, sizeof config->ConfDir, &config->HaveConfDir},
      {"WORKDIR", config->WorkDir, sizeof config->WorkDir, nullptr},
      {"MSGDIR", config->MsgDir, sizeof config->MsgDir, &config->HaveMsgDir},
      {"OUTDIR", config->OutDir, sizeof config->OutDir, &config->HaveOutDir},
      {"SYSTEM", config->SystemName, sizeof config->SystemName, &config->HaveSystem},
      {"PKTPW", config->PacketPassword, sizeof config->PacketPassword, nullptr},
      {"PROCESSEDDIR", config->ProcessedDir, sizeof config->ProcessedDir, nullptr},
  };
  for (const TextDirective& directive : texts) {
    if (strcmp(keyword, directive.keyword) == 0) return StoreText(directive, value);
  }
  if (strcmp(keyword, "ADDRESS") == 0) {
    if (ParseFtnAddress(value, &config->OurAddress)) {
      config->HaveAddress = 1;
      return 0;
    }
    StartupMessage("Invalid ADDRESS value: %s\n", value);
    return 1;
  }
  if (strcmp(keyword, "HUB") == 0) {
    if (ParseFtnAddress(value, &config->HubAddress)) {
      config->HaveHub = 1;
      return 0;
    }
    StartupMessage("Invalid HUB value: %s\n", value);
    return 1;
  }
  if (strcmp(keyword, "KEEPPROCESSED") == 0) return StoreKeepProcessed(value, config);
  StartupMessage("Warning: unrecognized config directive '%s' -- ignored\n", keyword);
  return 0;
}

// Parses one line, which is trimmed in place. Returns the number of errors, 0 or 1.
int StoreLine(char* line, TosserConfig* config) {
  const char* text = SkipBlanks(line);
  TrimEnd(line);
  if (*text == '\0' || *text == ';') return 0;
  char keyword[kKeywordSize];
  size_t length = 0;
  while (length < kKeywordSize - 1 && text[length] != '\0' && !IsBlank(text[length])) {
    keyword[length] = text[length];
    ++length;
  }
  keyword[length] = '\0';
  UpperText(keyword);
  return StoreDirective(keyword, SkipBlanks(text + length), config);
}

int DeriveWorkDir(TosserConfig* config) {
  if (config->WorkDir[0] != '\0' || config->HaveConfDir == 0) return 0;
  const int length = snprintf(config->WorkDir, sizeof config->WorkDir, "%s\\WORK", config->ConfDir);
  if (length >= 0 && static_cast<size_t>(length) < sizeof config->WorkDir) return 0;
  StartupMessage("Derived WORKDIR path is too long; set WORKDIR explicitly\n");
  return -1;
}

void TurnSlashes(char* directory) {
  for (; *directory != '\0'; ++directory) {
    if (*directory == '/') *directory = '\\';
  }
}

}  // namespace

int LoadConfig(const char* path, TosserConfig* config) {
  TextFile file;
  if (OpenTextFile(path, kEndsAtDosMark, &file) != 0) {
    StartupMessage("Could not open config file: %s\n", path);
    return -1;
  }
  int errors = 0;
  char line[512];
  while (ReadTextLine(&file, line, sizeof line)) errors += StoreLine(line, config);
  if (OsClose(&file.file) != 0) {
    StartupMessage("Could not close config file cleanly: %s\n", path);
    return -1;
  }
  if (errors != 0 || DeriveWorkDir(config) != 0) return -1;
  for (char* directory :
       {config->Inbound, config->ConfDir, config->WorkDir, config->MsgDir, config->OutDir, config->ProcessedDir}) {
    TurnSlashes(directory);
  }
  return 0;
}
