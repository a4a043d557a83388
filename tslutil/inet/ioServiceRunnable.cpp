// SPDX-License-Identifier: MIT
#include "tslutil/inet/ioServiceRunnable.h"

#include "tslutil/time/tslClock.h"

namespace
{

constexpr double theLook = 0.1;

} // namespace

DtIoServiceRunnable::DtIoServiceRunnable(tsl::IoService & service, void * socket)
   : isFinished(true),
     isStopped(false),
     myService(service),
     mySocket(socket),
     myWork(service.context().get_executor())
{
}

DtIoServiceRunnable::~DtIoServiceRunnable()
{
   isStopped = true;
   stopService();
   while (!isFinished)
      DtSleep(theLook);
}

// A service that was stopped returns at once until it is restarted. The look comes behind the restart: a stop
// between the two is then not lost.
void DtIoServiceRunnable::run()
{
   isFinished = false;
   try
   {
      for (;;)
      {
         myService.context().restart();
         if (isStopped || timeToStop())
            break;
         myService.context().run();
      }
   }
   catch (...)
   {
      isFinished = true;
      throw;
   }
   isFinished = true;
}

void DtIoServiceRunnable::stop()
{
   stopService();
}

void DtIoServiceRunnable::stopService()
{
   myService.context().stop();
}
