// SPDX-License-Identifier: MIT
#pragma once

#include "tslutil/time/tslTimeStatistic.h"
#include "tslutil/tslutilExport.h"

#include <vector>

/// Statistics by number, made as they are asked for: naming one, also to read it, makes all up to it. A
/// reference to one holds until another is made. Not locked.
class TSLUTIL_EXPORT DtPerformanceStats
{
public:
   /// The statistic of that number.
   DtTimeStatistic & stat(unsigned int index);
   /// The same, to be read; made if it isn't there.
   DtTimeStatistic const & stat(unsigned int index) const;

   /// Adds a sample to a statistic.
   void addTime(unsigned int index, double sample);

   /// The average of a statistic; not a number if it has no samples.
   double avg(unsigned int index) const;
   /// The last sample of a statistic.
   double last(unsigned int index) const;
   /// Its smallest sample.
   double minimum(unsigned int index) const;
   /// Its largest sample.
   double maximum(unsigned int index) const;

   /// Has every statistic forget its samples; none goes away.
   void resetAllStats();

   /// All of them.
   std::vector<DtTimeStatistic> & stats() { return myStats; }
   /// The same, to be read.
   std::vector<DtTimeStatistic> const & stats() const { return myStats; }

private:
   // Grows also where an object is only read.
   mutable std::vector<DtTimeStatistic> myStats;
};
