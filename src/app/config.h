// The configuration file, CVTOSS32.CFG unless the command line names another: one directive per line.
#pragma once

#include "ftn/address.h"

// The loaded configuration, one for the run. A text is empty and a flag 0 when its directive was not given.
struct TosserConfig {
  char Inbound[256] = {};       // inbound directory of packets and bundles
  char ConfDir[256] = {};       // directory of CVMCONF.DAT
  char WorkDir[256] = {};       // directory of CVWHOSON.DAT; ConfDir\WORK when not given
  char MsgDir[256] = {};        // directory of the message base and of the run lock
  char OutDir[256] = {};        // directory where bundles are published
  char SystemName[64] = {};     // for the origin line
  char PacketPassword[9] = {};  // at most 8 characters; empty for none
  char ProcessedDir[256] = {};  // empty for the directory "processed" within Inbound
  int KeepProcessed = 1;        // 0: inbound files are deleted when they are done
  FtnAddress OurAddress;
  FtnAddress HubAddress;
  int HaveInbound = 0;
  int HaveConfDir = 0;
  int HaveMsgDir = 0;
  int HaveOutDir = 0;
  int HaveSystem = 0;
  int HaveAddress = 0;
  int HaveHub = 0;
};

// Reads the configuration file at `path` into `config`, which holds the defaults. Each / of a directory is replaced by
// \, and WORKDIR is derived from CONFDIR when it is missing. Returns 0, or -1 after reporting every bad line of the
// file on standard error.
int LoadConfig(const char* path, TosserConfig* config);
