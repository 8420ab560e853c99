#include "kit/accounted_mail.h"

#include "kit/site_files.h"

Account AccountedMail::Judge(const std::string& path) {
  ByteBuffer content;
  if (!ReadSiteFile(path, &content)) return Account::kUnreadable;
  if (!forecast_) forecast_ = std::make_unique<TossForecast>(site_);
  const FileFacts file = forecast_->JudgeFile(path, content.data, content.size);
  if (file.kind == kFileOther) return Account::kNoMail;
  bool damaged = false;
  bool missing = file.fate == kFateRetained && file.packets.empty();
  for (const PacketFacts& packet : file.packets) {
    damaged = damaged || packet.fault.has_value();
    for (const MessageFacts& message : packet.messages) {
      damaged = damaged || message.verdict == kVerdictDamaged;
      missing = missing || (message.verdict != kVerdictDamaged && message.verdict != kVerdictDuplicate &&
                            message.verdict != kVerdictDropped);
    }
  }
  if (missing) forecast_.reset();
  return missing ? Account::kUnaccounted : damaged ? Account::kDamaged : Account::kAccounted;
}
