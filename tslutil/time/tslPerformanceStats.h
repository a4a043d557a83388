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
   DtTimeStatistic const & stat(unsigned int index) const;

   /// Adds a sample to a statistic.
   void addTime(unsigned int index, double sample);

   /// What the statistic of that number tells.
   double avg(unsigned int index) const;
   double last(unsigned int index) const;
   double minimum(unsigned int index) const;
   double maximum(unsigned int index) const;

   /// Has every statistic forget its samples; none goes away.
   void resetAllStats();

   /// All of them.
   std::vector<DtTimeStatistic> & stats() { return myStats; }
   std::vector<DtTimeStatistic> const & stats() const { return myStats; }

private:
   // Grows also where an object is only read.
   mutable std::vector<DtTimeStatistic> myStats;
};
