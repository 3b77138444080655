// Base of the plug-in's host-driven tests: a test may run several hosts in turn,
// each checked like the last one.
#pragma once

#include "tests/plugin/pixel_reference.h"
#include "tests/support/host_test.h"

class PluginTest : public HostTest {
 protected:
  // Checks the ledger of the running host, then ends it.
  void StopHost() {
    for (const auto& problem : host().LedgerProblems()) ADD_FAILURE() << problem;
    DiscardHost();
  }

  // Runs `body(host, lending)` for pictures larger than the caches, on a desktop
  // and a console host in turn; whatever `body` holds goes back before each
  // host's ledger is read.
  template <class Body>
  void OnLargePictureHosts(const Body& body) {
    for (const char* name : {"Xrgb6", "Console"}) {
      SCOPED_TRACE(name);
      const pixeltest::Lending& l = pixeltest::lending(name);
      body(StartHost(pixeltest::config_for(l)), l);
      StopHost();
    }
  }
};
