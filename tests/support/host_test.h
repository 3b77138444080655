// Test fixture base for everything that runs the plug-in (or a test plug-in) in
// the test host: starts a host, loads the plug-in into it, and at the end of each
// test checks the host's ledger (every reference, lock, string data and exception
// returned) before destroying the host. Test targets define PICTURE_PLUGIN_PATH,
// the path of the built plug-in.
#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "host/test_host.h"

#ifndef PICTURE_PLUGIN_PATH
#define PICTURE_PLUGIN_PATH ""  // a target without the plug-in: StartHost fails to load
#endif

// An entry point as the plug-in gets it from its resolver (null when the host lacks it).
#define HOST_ENTRY(host, name) reinterpret_cast<host_abi::sig::name*>((host).Resolve(#name))

// Names a parametrised test by its parameter's `name`, so that ctest lists
// Suite.Test/Desktop5 and `ctest -R` can pick it.
struct ByName {
  template <class Param>
  std::string operator()(const ::testing::TestParamInfo<Param>& info) const {
    return info.param.name;
  }
};

class HostTest : public ::testing::Test {
 protected:
  // Makes a host with `config`, current, and loads the built plug-in into it;
  // ADD_FAILURE if it cannot.
  testhost::Host& StartHost(testhost::HostConfig config = {}) {
    return StartHostWith(PICTURE_PLUGIN_PATH, std::move(config));
  }

  // The same with another plug-in file, such as a test fixture plug-in. Any earlier
  // host of this test goes first, without a ledger check.
  testhost::Host& StartHostWith(const std::string& path, testhost::HostConfig config = {}) {
    testhost::Host& started = StartHostWithout(std::move(config));
    std::string error;
    if (!started.LoadPlugin(path, &error)) ADD_FAILURE() << "cannot load the plug-in: " << error;
    return started;
  }

  // A host with no plug-in loaded.
  testhost::Host& StartHostWithout(testhost::HostConfig config = {}) {
    host_.reset();
    host_ = std::make_unique<testhost::Host>(std::move(config));
    return *host_;
  }

  testhost::Host& host() { return *host_; }

  // Checks that the ledger is empty (one failure line per problem), then destroys the host.
  void TearDown() override {
    if (host_ == nullptr) return;
    for (const auto& problem : host_->LedgerProblems()) ADD_FAILURE() << problem;
    host_.reset();
  }

  // Ends the host now, without the ledger check (for tests that expect problems).
  void DiscardHost() { host_.reset(); }

 private:
  std::unique_ptr<testhost::Host> host_;
};
