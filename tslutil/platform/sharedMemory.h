// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <string>

/// Memory that processes of one user share by a name. A block is alive while a handle to it is open in any
/// process; the last to go takes it away, and what a killed process left behind counts as not there. Any
/// thread. What is opened is not inherited by programs that are started.
namespace tsl::platform
{

/// Where the system keeps the blocks, and what their files' names begin with.
constexpr char sharedMemoryFolder[] = "/dev/shm/";
constexpr char sharedMemoryPrefix[] = "tslutil.";

/// The byte of a block's file on which every open handle holds a shared lock.
constexpr long sharedMemoryUseByte = 1;

/// The name of the file of a block: what can't stand in it is written as "%" and two hexadecimal digits.
inline std::string sharedMemoryFileName(std::string const & name)
{
   std::string file(sharedMemoryPrefix);
   for (char const character : name)
   {
      auto const code = static_cast<unsigned char>(character);
      bool const isPlain = code >= ' ' && code != 0x7f && character != '/' && character != '%';
      if (isPlain)
         file += character;
      else
         file.append({'%', "0123456789ABCDEF"[code >> 4], "0123456789ABCDEF"[code & 15]});
   }
   return file;
}

/// What became of an attempt: a handle, never 0, or 0 and the system's error number.
struct SharedMemoryHandle
{
   std::intptr_t handle;
   unsigned int error;
};

/// Opens the block of this name; without one, makes it of `size` bytes, zeros, for which the system has set
/// memory aside. Error if `size` is 0 or the system hasn't so much memory.
SharedMemoryHandle createSharedMemory(std::string const & name, std::uint32_t size);

/// Opens the block of this name; error 2 if there is none.
SharedMemoryHandle openSharedMemory(std::string const & name);

/// Leaves a handle open to the end of the process.
void keepSharedMemory(std::intptr_t handle);

/// Closes a handle.
void closeSharedMemory(std::intptr_t handle);

/// A place in the address space that shows a whole block, null with `error` set on failure. It stays when the
/// handle is closed.
void * mapSharedMemory(std::intptr_t handle, unsigned int & error);

/// Gives such a place back.
void unmapSharedMemory(void * view);

} // namespace tsl::platform
