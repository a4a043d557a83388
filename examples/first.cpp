// SPDX-License-Identifier: MIT
#include "tslutil/base/tslNotify.h"
#include "tslutil/dis/tslDisSocket.h"

int main()
{
   char pdu[96] = {7, 1, 2, 2, 0, 0, 0, 0, 0, sizeof pdu}; // version 7, exercise 1, a Fire PDU, its length
   DtDisSocket socket(DtInetEndpoint(DtInetAddr("127.0.0.1"), 3000));
   socket.setBundling(1400, 0, 0, false);
   for (int shot = 0; shot < 5; ++shot)
      socket.send(pdu, sizeof pdu); // into the bundle
   socket.flush();                  // all five leave in one datagram
   char received[1400];             // room for a whole datagram, though a call delivers one PDU
   DtInetEndpoint from;
   for (int shot = 0; shot < 5 && socket.recvFrom(received, sizeof received, from) > 0; ++shot)
      DtInfo << "kind " << int(received[2]) << " from " << from.toDtString() << std::endl;
   return socket.isOk() ? 0 : 1;
}
