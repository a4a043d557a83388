// SPDX-License-Identifier: MIT
// What one peer says, all peers hear, itself included.
#include "tslutil/base/tslNotify.h"
#include "tslutil/inet/tslInetSocketMgr.h"
#include "tslutil/time/tslClock.h"

#include <cstdlib>
#include <ostream>

namespace
{

bool tell(DtInetSocket * peer, void *)
{
   DtInfo << "came: " << peer->destination().toDtString() << std::endl;
   return true;
}

// A connection that the manager has removed is ours.
bool release(DtInetSocket * peer, void *)
{
   DtInfo << "went: " << peer->destination().toDtString() << std::endl;
   delete peer;
   return true;
}

} // namespace

int main(int argc, char ** argv)
{
   int const port = argc == 2 ? std::atoi(argv[1]) : 5000;
   DtInetEndpoint here(DtInetAddr("0.0.0.0"), static_cast<unsigned short>(port), DtInetProtoTcp);
   DtInetSocketMgr manager(here);
   manager.addSocketAdditionCallback(tell);
   manager.addSocketRemovalCallback(release);

   std::vector<DtInetEndpoint *> all; // no targets: everybody
   char text[1024];
   DtInetEndpoint from;
   for (; manager.serverSocket()->isOk(); DtSleep(0.01))
   {
      manager.processConnections();
      for (int size; (size = manager.recvFrom(text, sizeof text, from)) > 0;)
         manager.sendTo(text, size, all);
   }
   DtWarn << manager.serverSocket()->getLastErrorString() << std::endl;
   return 1;
}
