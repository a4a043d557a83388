// SPDX-License-Identifier: MIT
#pragma once

#include "support/skip.h"

#include <functional>
#include <optional>
#include <string>

/// A network of its own for a test: interfaces, addresses, routes and ports that nothing else on the machine
/// sees. It begins with loopback alone, up. All that is in it vanishes with this object, the threads and
/// children that run in it, and the sockets made in it. Needs root and the `ip` tool: begin a test with
///
///    SKIP_BECAUSE(NetworkNamespace::whyNot());
///    NetworkNamespace near, far;
///    NetworkNamespace::connect(near, "eth0", far, "eth0");
///    near.addAddress("eth0", "10.1.0.1/24");
///    far.addAddress("eth0", "10.1.0.2/24");
///    NetworkNamespace::Inside inside(near);   // the calling thread, and threads and children that it starts
class NetworkNamespace
{
public:
   /// Why this machine can't give namespaces; empty if it can.
   static std::string whyNot();

   /// The calling thread stays where it is. Throws std::runtime_error if there can be none.
   NetworkNamespace();
   ~NetworkNamespace();
   NetworkNamespace(NetworkNamespace &&) = delete;

   /// Runs `commands`, one a line as they stand behind `ip`, in here. The first that fails fails the test;
   /// false then.
   bool ip(std::string const & commands) const;

   /// Waits until an interface that was brought up carries packets, for the system takes its time. The test
   /// fails if it doesn't; false then.
   bool awaitRunning(std::string const & interfaceName) const;

   /// Makes a link between two namespaces, or within one, both ends running and without any address.
   static bool connect(NetworkNamespace const & left, std::string const & leftName,
                       NetworkNamespace const & right, std::string const & rightName);

   /// Gives an interface an address with its prefix length, "10.1.0.1/24" or "fd00::1/64". IPv6 addresses are
   /// ready at once.
   bool addAddress(std::string const & interfaceName, std::string const & address) const;

   /// Puts the calling thread into a namespace, and back where it was at the end of the scope.
   class Inside
   {
   public:
      explicit Inside(NetworkNamespace const & where);
      ~Inside();
      Inside(Inside &&) = delete;

   private:
      int before;
   };

   /// Runs `body` inside on a thread of its own, and waits for it.
   void onThread(std::function<void()> const & body) const;

private:
   bool run(std::string const & command) const;
   bool await(std::string const & query) const;

   int descriptor;
};

/// A test in a network of its own, skipped where there can be none.
class InNetwork : public testing::Test
{
protected:
   void SetUp() override
   {
      SKIP_BECAUSE(NetworkNamespace::whyNot());
      inside.emplace(network.emplace());
   }

   std::optional<NetworkNamespace> network;
   std::optional<NetworkNamespace::Inside> inside;
};
