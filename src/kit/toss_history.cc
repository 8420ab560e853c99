#include "kit/toss_history.h"

#include <algorithm>
#include <limits>

namespace {

uint64_t Mix(uint64_t hash, uint64_t value) {
  hash ^= value + 0x9E3779B97F4A7C15ULL + (hash << 6) + (hash >> 2);
  return hash;
}

// Returns a number of a line; 0 for one that is out of range.
template <class To>
To Narrow(int64_t number) {
  return number > 0 && number <= std::numeric_limits<To>::max() ? static_cast<To>(number) : 0;
}

// Whether `next` is about the message after those of `last`, with consecutive numbers.
bool Continues(const LoggedOutcome& last, const LoggedOutcome& next) {
  const auto follows = [&last](uint32_t first, uint32_t then) {
    return first == 0 ? then == 0 : then == first + last.count;
  };
  return last.outcome == next.outcome && last.parked == next.parked && last.conference == next.conference &&
         (next.outcome != Outcome::kStored ||
          int64_t{next.message_number} == int64_t{last.message_number} + last.count) &&
         follows(last.message, next.message);
}

}  // namespace

uint64_t KeyOfEntry(std::string_view shown_name, int64_t method, int64_t packed_size, int64_t size) {
  uint64_t key = std::hash<std::string_view>()(shown_name);
  for (const int64_t number : {method, packed_size, size}) key = Mix(key, static_cast<uint64_t>(number));
  return key;
}

uint64_t HashWithDuplicate(uint64_t hash, size_t message, std::string_view shown_msgid) {
  return Mix(Mix(hash, message), std::hash<std::string_view>()(shown_msgid));
}

LoggedOutcome LoggedOutcome::At(uint32_t place) const {
  LoggedOutcome one = *this;
  one.count = 1;
  if (outcome == Outcome::kStored) {
    one.message_number += static_cast<int32_t>(place);
    one.order += place;
  }
  if (message != 0) one.message += place;
  return one;
}

size_t LoggedPacket::Messages() const {
  constexpr int64_t kMostWithoutLine = 1'000'000;  // a larger count is not plausible
  const auto lines = static_cast<int64_t>(handled);
  return read > lines && read - lines <= kMostWithoutLine ? static_cast<size_t>(read) : handled;
}

bool LoggedPacket::IsStopped() const {
  return !outcomes.empty() && outcomes.back().outcome == Outcome::kRefused && outcomes.back().message == 0;
}

LoggedPacket& TossHistory::Packet() {
  if (toss_->packets.empty()) toss_->packets.emplace_back();
  return toss_->packets.back();
}

void TossHistory::Add(const LoggedOutcome& outcome) {
  LoggedPacket& packet = Packet();
  ++packet.handled;
  if (!packet.outcomes.empty() && Continues(packet.outcomes.back(), outcome)) {
    ++packet.outcomes.back().count;
  } else {
    packet.outcomes.push_back(outcome);
  }
  told_ = 0;
  parked_ = false;
}

void TossHistory::TakeOutcome(Outcome outcome, const LogRecord& record) {
  LoggedOutcome taken;
  taken.outcome = outcome;
  taken.parked = parked_;
  taken.message = Narrow<uint32_t>(record.numbers[0]);
  if (outcome == Outcome::kDuplicate) {
    taken.conference = Narrow<int32_t>(record.numbers[1]);
    Packet().duplicates = HashWithDuplicate(Packet().duplicates, taken.message, record.value);
  }
  Add(taken);
}

void TossHistory::TakeStored(const LogRecord& record) {
  LoggedOutcome taken;
  taken.parked = parked_;
  taken.conference = Narrow<int32_t>(record.numbers[0]);
  taken.message_number = Narrow<int32_t>(record.numbers[1]);
  taken.message = told_;
  taken.order = ++order_;
  GivenNumbers& given = given_[taken.conference];
  AddNumber(taken.order, taken.message_number, &given.all);
  if (taken.message_number <= given.highest) AddNumber(taken.order, taken.message_number, &given.again);
  given.highest = std::max(given.highest, taken.message_number);
  Add(taken);
}

void TossHistory::Take(const LogRecord& record) {
  if (record.event == LogEvent::kFound) {
    name_ = record.value;
    std::vector<LoggedToss>& tosses = files_[name_];
    tosses.emplace_back();
    toss_ = &tosses.back();
    told_ = 0;
    parked_ = false;
  }
  if (toss_ == nullptr) return;
  const auto dispose = [this](Disposal disposal) { toss_->disposal = disposal; };
  switch (record.event) {
    case LogEvent::kFound: break;
    case LogEvent::kZipEntry:
      toss_->packets.emplace_back();
      toss_->packets.back().entry = record.value;
      toss_->packets.back().key = KeyOfEntry(record.value, record.numbers[0], record.numbers[1], record.numbers[2]);
      break;
    case LogEvent::kPacket: (void)Packet(); break;
    case LogEvent::kRemark: told_ = Narrow<uint32_t>(record.numbers[0]); break;
    case LogEvent::kParked:
      told_ = Narrow<uint32_t>(record.numbers[0]);
      parked_ = true;
      break;
    case LogEvent::kStored: TakeStored(record); break;
    case LogEvent::kDuplicate: TakeOutcome(Outcome::kDuplicate, record); break;
    case LogEvent::kNoNetmail: TakeOutcome(Outcome::kNoNetmail, record); break;
    case LogEvent::kNoArea: TakeOutcome(Outcome::kNoArea, record); break;
    case LogEvent::kRefused:
    case LogEvent::kTextFailed: TakeOutcome(Outcome::kRefused, record); break;
    case LogEvent::kPacketRead: Packet().read = record.numbers[0]; break;
    case LogEvent::kPacketFault: Packet().fault = true; break;
    case LogEvent::kSaved:
      Packet().saved = record.value.substr(0, record.value.rfind(" for review ("));
      saved_[Packet().saved] = {name_, {files_[name_].size() - 1, toss_->packets.size() - 1}};
      break;
    case LogEvent::kFileRetained:
    case LogEvent::kNotDurable:
    case LogEvent::kNotMoved:
    case LogEvent::kNotDeleted: dispose(Disposal::kRetained); break;
    case LogEvent::kMoved: dispose(Disposal::kMoved); break;
    case LogEvent::kDeleted: dispose(Disposal::kDeleted); break;
    case LogEvent::kTossComplete:
    case LogEvent::kLockLost: toss_ = nullptr; return;
    default: return;
  }
  toss_->last = record.stamp;
}

void TossHistory::AddNumber(uint32_t order, int32_t number, std::vector<Numbers>* to) {
  if (!to->empty() && number == int64_t{to->back().last} + 1) {
    to->back().last = number;
  } else {
    to->push_back({order, number, number});
  }
}

bool TossHistory::Has(const std::vector<Numbers>& numbers, int32_t number, uint32_t after) {
  return std::any_of(numbers.begin(), numbers.end(), [&](const Numbers& some) {
    return some.first <= number && number <= some.last &&
           some.order + static_cast<uint32_t>(number - some.first) > after;
  });
}

bool TossHistory::IsGivenAgain(int32_t conference, int32_t message_number, uint32_t order) const {
  const auto given = given_.find(conference);
  return given != given_.end() && Has(given->second.again, message_number, order);
}

bool TossHistory::IsGiven(int32_t conference, int32_t message_number) const {
  const auto given = given_.find(conference);
  return given != given_.end() && Has(given->second.all, message_number, 0);
}

const LoggedPacket* TossHistory::PacketSavedAt(const std::string& path) const {
  const auto found = saved_.find(path);
  if (found == saved_.end()) return nullptr;
  const auto& [name, places] = found->second;
  return &files_.at(name)[places.first].packets[places.second];
}
