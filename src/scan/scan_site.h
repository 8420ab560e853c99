// What every step of a scan needs: the configuration, the message base and the run lock.
#pragma once

#include "app/config.h"
#include "app/run_lock.h"
#include "app/site_paths.h"

struct ScanSite {
  const TosserConfig* config;
  MessageBase base;
  RunLock* lock;
};
