// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <memory>
#include <vector>

namespace tsl
{

/// Byte buffers that are used again, so that a socket that has settled takes no memory for its bundles and
/// queued PDUs. What it keeps is bounded. Not locked.
class BufferPool
{
public:
   typedef std::unique_ptr<std::vector<char>> Buffer;

   /// An empty buffer, whatever its capacity.
   Buffer take()
   {
      if (spare.empty())
         return Buffer(new std::vector<char>);
      Buffer buffer = std::move(spare.back());
      spare.pop_back();
      kept -= cost(*buffer);
      return buffer;
   }

   /// Takes a buffer back, with whatever is in it.
   void give(Buffer buffer)
   {
      if (kept + cost(*buffer) > theMostToKeep)
         return;
      buffer->clear();
      kept += cost(*buffer);
      spare.push_back(std::move(buffer));
   }

   /// Gives all memory back to the system.
   void clear()
   {
      spare = std::vector<Buffer>();
      kept = 0;
   }

private:
   static constexpr std::size_t theMostToKeep = std::size_t(1) << 20;

   static std::size_t cost(std::vector<char> const & buffer)
   {
      return sizeof(std::vector<char>) + buffer.capacity();
   }

   std::vector<Buffer> spare;
   std::size_t kept = 0;
};

} // namespace tsl
