// Base of the plug-in's host-driven tests: a test may run several hosts in turn,
// each checked like the last one.
#pragma once

#include "tests/support/host_test.h"

class PluginTest : public HostTest {
 protected:
  // Checks the ledger of the running host, then ends it.
  void StopHost() {
    for (const auto& problem : host().LedgerProblems()) ADD_FAILURE() << problem;
    DiscardHost();
  }
};
