// SPDX-License-Identifier: MIT
// A file transfer beside the pauses that its protocol prescribes, and what it takes of the processor.
#include "bench/compare.h"

#include "tslutil/inet/tslInetFileTransporter.h"

#include <atomic>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <thread>
#include <unistd.h>

namespace
{

constexpr int theMessages = 20;
constexpr std::size_t theLimit = 65504;
/// A message with the pause behind it.
constexpr double theStep = 0.0101;
/// What connecting, the last message's pause at the receiver and the file may take besides.
constexpr double theRest = 0.025;

double secondsOf(clockid_t clock)
{
   timespec time;
   clock_gettime(clock, &time);
   return static_cast<double>(time.tv_sec) + 1e-9 * static_cast<double>(time.tv_nsec);
}

/// Where there is room for files: in memory, if the system has such a place, as no disk is to be measured.
std::filesystem::path roomForFiles()
{
   std::filesystem::path const memory = "/dev/shm";
   return std::filesystem::is_directory(memory) ? memory : std::filesystem::temp_directory_path();
}

/// A file of so many full messages, and both sides of its transfer in this process.
class Transfers
{
public:
   Transfers()
      : myFolder(roomForFiles() / ("tslBench" + std::to_string(getpid()))),
        myFile((myFolder / "file").string()),
        myReceiver(0, false, 1, (myFolder / "in").c_str()),
        mySender(0, false, 1, myFolder.c_str())
   {
      std::string const content(theMessages * (theLimit - 8) - 13 - sizeof "file", 'x');
      std::ofstream(myFile, std::ios::binary) << content;
      myReceiver.addFileTransferedCallback(count, this);
   }
   ~Transfers() { std::filesystem::remove_all(myFolder); }

   /// Sends the file and waits until it is written.
   void run()
   {
      int const before = myCount;
      std::thread sending(
         [this] {
            mySender.sendFile(myFile.c_str(), DtInetAddr("127.0.0.1"), static_cast<int>(myReceiver.port()));
         });
      while (myCount == before)
      {
         myReceiver.tick();
         std::this_thread::sleep_for(std::chrono::milliseconds(1));
      }
      sending.join();
   }

private:
   static void count(DtFilename const &, void * self) { ++static_cast<Transfers *>(self)->myCount; }

   std::filesystem::path myFolder;
   std::string myFile;
   DtInetFileTransporter myReceiver;
   DtInetFileTransporter mySender;
   int myCount = 0;
};

bool const transfers[] = {
   addComparison(
      {"file of 20 messages sent and received", "20 x 10.10 ms", 1.01 + theRest / (theMessages * theStep)},
      [](Bench & bench)
      {
         Transfers all;
         bench.runPairs(
            [&]
            {
               double const before = secondsOf(CLOCK_MONOTONIC);
               all.run();
               return std::pair(secondsOf(CLOCK_MONOTONIC) - before, theMessages * theStep);
            });
      }),
   addComparison({"the same, processor time of both sides", "its wall time", 0.01},
                 [](Bench & bench)
                 {
                    Transfers all;
                    bench.runPairs(
                       [&]
                       {
                          double const wall = secondsOf(CLOCK_MONOTONIC);
                          double const processor = secondsOf(CLOCK_PROCESS_CPUTIME_ID);
                          all.run();
                          return std::pair(secondsOf(CLOCK_PROCESS_CPUTIME_ID) - processor,
                                           secondsOf(CLOCK_MONOTONIC) - wall);
                       });
                 }),
};

} // namespace
