// SPDX-License-Identifier: MIT
#include "tslutil/platform/sharedMemory.h"

#include "tslutil/platform/thread.h"

#include <algorithm>
#include <cerrno>
#include <fcntl.h>
#include <map>
#include <mutex>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

// The files of the blocks outlive their users, but locks die with their holders, however those end. Every
// open handle holds a shared lock on one byte of the file: who can lock that alone has found a dead block.
// Who joins or clears up locks another byte alone, the gate, so that no two do so at once. Locks belong to
// the open file, not to the process, so handles of one process, and those that a forked child has inherited,
// count each.

namespace tsl::platform
{

namespace
{

constexpr long theGate = 0;
static_assert(theGate != sharedMemoryUseByte);

// Below are the standard streams, and 0 would look like no handle.
constexpr int theFirstHandle = 3;

struct Handle
{
   int file;
   std::string path;
   dev_t device;
   ino_t inode;
   bool isKept;
};

struct Table
{
   std::mutex mutex;
   std::vector<Handle> handles;
   std::map<void *, std::size_t> views;
};

// Never destroyed: other destructors may still close handles.
Table & table()
{
   static Table & only = *new Table;
   return only;
}

SharedMemoryHandle failed(int error)
{
   return {0, static_cast<unsigned int>(error)};
}

bool lock(int file, int command, short kind, long byte)
{
   struct flock range = {};
   range.l_type = kind;
   range.l_whence = SEEK_SET;
   range.l_start = byte;
   range.l_len = 1;
   int result = 0;
   do
      result = fcntl(file, command, &range);
   while (result == -1 && errno == EINTR);
   return result == 0;
}

/// Whether nobody else has the block open; nobody has then until this lock goes.
bool isDead(int file)
{
   return lock(file, F_OFD_SETLK, F_WRLCK, sharedMemoryUseByte);
}

/// A file of the caller's own user: another user could cut it short under our hands.
int openOwnFile(std::string const & path, int flags)
{
   int const opened = ::open(path.c_str(), O_RDWR | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK | flags, 0600);
   if (opened < 0)
      return -1;
   int const file = opened < theFirstHandle ? fcntl(opened, F_DUPFD_CLOEXEC, theFirstHandle) : opened;
   if (file != opened)
      ::close(opened);
   struct stat status = {};
   if (file < 0 || (fstat(file, &status) == 0 && S_ISREG(status.st_mode) && status.st_uid == geteuid()))
      return file;
   ::close(file);
   errno = EACCES;
   return -1;
}

bool isStillThere(std::string const & path, int file)
{
   struct stat here = {};
   struct stat there = {};
   return fstat(file, &here) == 0 && ::lstat(path.c_str(), &there) == 0 && here.st_ino == there.st_ino &&
          here.st_dev == there.st_dev;
}

/// Opens a block's file and waits for its gate; -1 with `errno` on failure. While it waited, another may have
/// removed the file.
int enter(std::string const & path, int flags)
{
   for (;;)
   {
      int const file = openOwnFile(path, flags);
      if (file < 0)
         return -1;
      bool const isEntered = lock(file, F_OFD_SETLKW, F_WRLCK, theGate);
      if (isEntered && isStillThere(path, file))
         return file;
      int const error = errno;
      ::close(file);
      errno = error;
      if (!isEntered)
         return -1;
   }
}

/// Gives up a file that was entered.
SharedMemoryHandle giveUp(std::string const & path, int file, int error)
{
   ::unlink(path.c_str());
   ::close(file);
   return failed(error);
}

void removeIfDead(std::string const & path)
{
   int const file = enter(path, 0);
   if (file < 0)
      return;
   if (isDead(file))
      giveUp(path, file, 0);
   else
      ::close(file);
}

/// `errno`, 0 if the block now has its size, all zeros. Setting memory aside would be given up and begun anew
/// at each signal.
int makeWhole(int file, std::uint32_t size)
{
   int error = ftruncate(file, 0) == 0 ? 0 : errno;
   if (error == 0)
      withSignalsBlocked([&] { error = posix_fallocate(file, 0, size); });
   return error;
}

/// What the process leaves behind at its end: the handles that are kept, and those of objects that are never
/// destroyed. Their numbers stay taken, for destructors that come later.
struct LastOut
{
   LastOut() = default;
   LastOut(LastOut const &) = delete;
   LastOut & operator=(LastOut const &) = delete;

   ~LastOut()
   {
      // A child that was forked amid another thread's call finds it locked for ever.
      std::unique_lock<std::mutex> const guard(table().mutex, std::try_to_lock);
      if (!guard)
         return;
      int const nowhere = ::open("/dev/null", O_RDWR | O_CLOEXEC);
      for (Handle const & handle : table().handles)
         dup3(nowhere, handle.file, O_CLOEXEC);
      ::close(nowhere);
      for (Handle const & handle : table().handles)
         removeIfDead(handle.path);
   }
};

/// Takes part in a block whose file was entered, and leaves the gate.
SharedMemoryHandle take(std::string const & path, int file)
{
   static LastOut const lastOut;
   lock(file, F_OFD_SETLK, F_RDLCK, sharedMemoryUseByte);
   lock(file, F_OFD_SETLK, F_UNLCK, theGate);
   struct stat status = {};
   fstat(file, &status);
   std::lock_guard<std::mutex> const guard(table().mutex);
   table().handles.push_back({file, path, status.st_dev, status.st_ino, false});
   return {file, 0};
}

std::string pathOf(std::string const & name)
{
   return sharedMemoryFolder + sharedMemoryFileName(name);
}

/// A handle of the table, which is the caller's to lock.
std::vector<Handle>::iterator find(std::intptr_t file)
{
   std::vector<Handle> & handles = table().handles;
   return std::find_if(handles.begin(), handles.end(), [&](Handle const & one) { return one.file == file; });
}

/// Takes a handle out of the table.
Handle remove(std::intptr_t file)
{
   std::lock_guard<std::mutex> const guard(table().mutex);
   auto const found = find(file);
   Handle const result = *found;
   table().handles.erase(found);
   return result;
}

/// A file of its own to make a view by: a view holds on to that, and to its locks. -1 with `errno` on
/// failure.
int openForView(std::intptr_t handle)
{
   std::unique_lock<std::mutex> guard(table().mutex);
   std::string const path = find(handle)->path;
   guard.unlock();
   int const file = openOwnFile(path, 0);
   if (file < 0 || isStillThere(path, static_cast<int>(handle)))
      return file;
   ::close(file);
   errno = ENOENT;
   return -1;
}

} // namespace

SharedMemoryHandle createSharedMemory(std::string const & name, std::uint32_t size)
{
   if (size == 0)
      return failed(EINVAL);
   std::string const path = pathOf(name);
   int const file = enter(path, O_CREAT);
   if (file < 0)
      return failed(errno);
   // The lock alone becomes a shared one without a moment between.
   int const error = isDead(file) ? makeWhole(file, size) : 0;
   return error == 0 ? take(path, file) : giveUp(path, file, error);
}

SharedMemoryHandle openSharedMemory(std::string const & name)
{
   std::string const path = pathOf(name);
   int const file = enter(path, 0);
   if (file < 0)
      return failed(errno);
   return isDead(file) ? giveUp(path, file, ENOENT) : take(path, file);
}

// One of each block is enough.
void keepSharedMemory(std::intptr_t handle)
{
   Handle kept = remove(handle);
   kept.isKept = true;
   std::lock_guard<std::mutex> const guard(table().mutex);
   bool const isThere = std::any_of(
      table().handles.begin(), table().handles.end(),
      [&](Handle const & one) { return one.isKept && one.device == kept.device && one.inode == kept.inode; });
   if (isThere)
      ::close(kept.file);
   else
      table().handles.push_back(kept);
}

void closeSharedMemory(std::intptr_t handle)
{
   Handle const closed = remove(handle);
   ::close(closed.file);
   removeIfDead(closed.path);
}

void * mapSharedMemory(std::intptr_t handle, unsigned int & error)
{
   int const file = openForView(handle);
   error = static_cast<unsigned int>(errno);
   if (file < 0)
      return nullptr;
   struct stat status = {};
   fstat(file, &status);
   auto const size = static_cast<std::size_t>(status.st_size);
   void * const view = ::mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_SHARED, file, 0);
   error = static_cast<unsigned int>(errno);
   ::close(file);
   if (view == MAP_FAILED)
      return nullptr;
   std::lock_guard<std::mutex> const guard(table().mutex);
   table().views[view] = size;
   return view;
}

void unmapSharedMemory(void * view)
{
   std::lock_guard<std::mutex> const guard(table().mutex);
   auto const found = table().views.find(view);
   ::munmap(view, found->second);
   table().views.erase(found);
}

} // namespace tsl::platform
