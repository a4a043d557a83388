// SPDX-License-Identifier: MIT
// A program of someone who has only the installed package.
#include "tslutil/tslutil.h"

int main()
{
   DtDisSocket socket(DtInetEndpoint(DtInetAddr("127.0.0.1"), 3000), 0, nullptr, 0xC83, false);
   try
   {
      throw DtException("the type of an exception is the library's own");
   }
   catch (DtException const & error)
   {
      return socket.state() == DtInetSockCreated && error.what().isEmpty() == false ? 0 : 1;
   }
}
