// SPDX-License-Identifier: MIT
#pragma once

#include "tslutil/tslutilExport.h"

#include <atomic>

/// Holds the two times of a simulation: the machine's real time, from the monotonic counter and anchored once
/// to the wall clock, and the simulation time that the application hands in once a frame. All times are in
/// seconds. There is no lock: the frame loop writes the simulation time and the approximate real time, any
/// thread may read them. Nothing throws; a failing counter is told on DtWarn.
class TSLUTIL_EXPORT DtClock
{
public:
   /// Seconds in an hour.
   static constexpr double hour2sec = 3600.0;
   /// Hours in a second.
   static constexpr double sec2hour = 1.0 / 3600.0;

   /// A clock that runs from now.
   DtClock();
   DtClock(DtClock const &) = delete;
   DtClock & operator=(DtClock const &) = delete;

   // Virtual operations, in slot order.

   virtual ~DtClock();
   /// Starts again: elapsed time begins at 0 and no simulation time is set. Not while others read the clock.
   virtual void init();
   /// The simulation time; 0 until it is set.
   virtual double simTime() const;
   /// Sets the simulation time and takes a fresh approximate elapsed real time. To be called once a frame.
   virtual void setSimTime(double seconds);
   /// Whether the simulation time was set; says so on DtInfo if not.
   virtual bool isSimTimeSet() const;
   /// Real time since init; a change of the wall clock doesn't touch it.
   virtual double elapsedRealTime() const;
   /// The elapsed real time as of the last setSimTime. Reads no clock: for use many times a frame.
   virtual double approximateElapsedRealTime() const;
   /// Whether setSimTime takes the simulation time for the approximate elapsed real time; at first it
   /// doesn't.
   virtual bool useSimTimeForApproxRealTime() const;
   /// From here on it does.
   virtual void setUseSimTimeForApproxRealTime();
   /// From here on it doesn't.
   virtual void clearUseSimTimeForApproxRealTime();
   /// Real time since 1970. 0 if the counter can't be read.
   virtual double absRealTime() const;

   /// Whether real time comes from the counter, as it does at first, or from the wall clock with a grain of a
   /// millisecond. Takes effect at once.
   bool usePerfCounter() const;
   /// Chooses between the two.
   void setUsePerfCounter(bool use);

private:
   std::atomic<double> startTime;
   std::atomic<double> mySimTime;
   std::atomic<double> approximateTime;
   std::atomic<bool> simTimeSet;
   std::atomic<bool> useSimTime;
   std::atomic<bool> useCounter;
   std::atomic<bool> counterReady;
   std::atomic<double> counterBase;
   double secondsPerTick;
};

/// The process-wide clock of older callers; null until DtTimeInit, then alive to the end of the process.
extern TSLUTIL_EXPORT DtClock * DtObsoleteGlobalClock;

/// Creates the process-wide clock unless it is there. The application calls it, from any thread.
TSLUTIL_EXPORT void DtTimeInit();

/// setSimTime of the process-wide clock; nothing without one.
TSLUTIL_EXPORT void DtSetSimTime(double seconds);

/// simTime of the process-wide clock; 0 without one.
TSLUTIL_EXPORT double DtGetSimTime();

/// elapsedRealTime of the process-wide clock; 0 without one.
TSLUTIL_EXPORT double DtGetElapsedRealTime();

/// approximateElapsedRealTime of the process-wide clock; 0 without one.
TSLUTIL_EXPORT double DtGetApproximateElapsedRealTime();

/// Has the process-wide clock complain on DtInfo if its simulation time was never set. Returns nothing,
/// against what its name suggests.
TSLUTIL_EXPORT void DtIsSimTimeSet();

/// The wall-clock time in seconds since 1970. Makes a clock at each call: for use now and then.
TSLUTIL_EXPORT double DtAbsRealTime();

/// Sleeps for whole milliseconds: what is left over is cut off, so under a millisecond it returns at once.
/// Signals don't shorten it.
TSLUTIL_EXPORT void DtSleep(double seconds);

/// Gives up the processor to another thread that waits for it.
TSLUTIL_EXPORT void DtYield();
