// SPDX-License-Identifier: MIT
// Tells the PDUs of one exercise, and who sends them, until a key is pressed.
#include "tslutil/base/tslNotify.h"
#include "tslutil/dis/tslDisSocket.h"
#include "tslutil/inet/tslInetResLoc.h"
#include "tslutil/system/tslConsole.h"
#include "tslutil/time/tslClock.h"

#include <cstdlib>
#include <ostream>

int main(int argc, char ** argv)
{
   DtString address, port;
   int suffixKind = 0;
   if (argc == 3)
      DtInetUtils::parseNetResLoc(argv[1], address, port, suffixKind);
   if (suffixKind != 1) // a port
   {
      DtWarn << "usage: example-listen LOCATOR EXERCISE, as in: example-listen 239.1.2.3:3000 1" << std::endl;
      return 2;
   }
   DtInetEndpoint const group(DtInetAddr(address), static_cast<unsigned short>(port.toInt()));
   DtDisSocket socket(group, 0, nullptr, DtInetSockFlagsDefault | DtInetSockFlagNonBlocking);
   if (group.address().isMulticast())
      socket.joinMulticastGroup(group, nullptr);
   socket.exerciseId()->setTest(DtPduTestInclude, std::strtoul(argv[2], nullptr, 10));

   char pdu[8192];
   DtInetEndpoint from;
   for (; socket.isOk() && !DtKbHit(); DtSleep(0.01))
      while (socket.recvFrom(pdu, sizeof pdu, from) > 0)
         DtInfo << "kind " << int(static_cast<unsigned char>(pdu[2])) << " from " << from.toDtString()
                << std::endl;
   DtRestoreKbHit();
   if (!socket.isOk())
      DtWarn << socket.getLastErrorString() << std::endl;
   return socket.isOk() ? 0 : 1;
}
