#include "unit/support/fake_clock.h"

#include <cstdlib>

namespace {

FakeClock* current_clock = nullptr;
int64_t part_of_a_second = 0;  // milliseconds slept that do not make a second yet

int64_t Now() { return current_clock->now; }

int UtcTime(int64_t when, OsCalendar* calendar) {
  return current_clock->fails ? -1 : kOsNative.UtcTime(when, calendar);
}

int LocalTime(int64_t when, OsCalendar* calendar) { return UtcTime(when + current_clock->local_offset, calendar); }

void Sleep(uint32_t milliseconds) {
  current_clock->pauses.push_back(milliseconds);
  part_of_a_second += milliseconds;
  current_clock->now += part_of_a_second / 1000;
  part_of_a_second %= 1000;
}

}  // namespace

FakeClock::FakeClock(int64_t start) : now(start), before_(OsInForce()) {
  if (current_clock != nullptr) abort();  // there is only one clock
  current_clock = this;
  part_of_a_second = 0;
  OsTable& table = OsInForce();
  table.Now = Now;
  table.Uptime = Now;
  table.LocalTime = LocalTime;
  table.UtcTime = UtcTime;
  table.Sleep = Sleep;
}

FakeClock::~FakeClock() {
  OsTable& table = OsInForce();
  table.Now = before_.Now;
  table.Uptime = before_.Uptime;
  table.LocalTime = before_.LocalTime;
  table.UtcTime = before_.UtcTime;
  table.Sleep = before_.Sleep;
  current_clock = nullptr;
}
