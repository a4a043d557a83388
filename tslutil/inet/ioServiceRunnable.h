// SPDX-License-Identifier: MIT
#pragma once

#include "tslutil/inet/ioService.h"
#include "tslutil/thread/tslThreadedObject.h"
#include "tslutil/tslutilExport.h"

#include <boost/asio/executor_work_guard.hpp>

#include <atomic>

/// The body of the background thread of an asynchronous socket: runs the socket's I/O service until the
/// thread is stopped. Waits for work while there is none.
class TSLUTIL_EXPORT DtIoServiceRunnable : public DtRunnable
{
public:
   /// Keeps both; they must outlive the body's run. The socket is for whoever looks at the thread.
   DtIoServiceRunnable(tsl::IoService & service, void * socket);

   // Virtual operations, in slot order.

   /// Asks the body to end and waits until it has, looking every 0.1 s.
   ~DtIoServiceRunnable() override;
   /// An exception of a handler leaves the body.
   void run() override;
   /// Wakes the body, which then sees that it is to end.
   void stop() override;
   /// Has the service return to the body, which goes on unless it is to end. Called from any thread.
   virtual void stopService();

protected:
   /// The socket that it was made for.
   void * socket() const { return mySocket; }

private:
   std::atomic<bool> isFinished;
   std::atomic<bool> isStopped;
   tsl::IoService & myService;
   void * mySocket;
   boost::asio::executor_work_guard<boost::asio::io_context::executor_type> myWork;
};
