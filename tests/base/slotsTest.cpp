// SPDX-License-Identifier: MIT
#include "support/skip.h"
#include "support/tsv.h"

#include <dlfcn.h>
#include <link.h>
#include <map>

namespace
{

/// What the loaded library has under this name.
void * symbol(std::string const & name)
{
   return dlsym(RTLD_DEFAULT, name.c_str());
}

/// The operations of a class in the order of their slots, which begin behind the word of its type.
std::vector<void *> slotsOf(std::string const & mangledClass)
{
   void ** const table = static_cast<void **>(symbol("_ZTV" + mangledClass));
   Dl_info place;
   void * entry = nullptr;
   dladdr1(table, &place, &entry, RTLD_DL_SYMENT);
   void ** end = table + static_cast<ElfW(Sym) *>(entry)->st_size / sizeof(void *);
   // A sanitizer may put a zone behind it that nobody is to touch.
   auto const isPoisoned = reinterpret_cast<int (*)(void *)>(symbol("__asan_address_is_poisoned"));
   while (isPoisoned != nullptr && isPoisoned(end - 1) != 0)
      --end;
   return std::vector<void *>(std::find(table, end, symbol("_ZTI" + mangledClass)) + 1, end);
}

/// Whether this is a function with a name of its own, and not one that its callers may have inline.
bool isNamed(void * function)
{
   Dl_info place;
   return dladdr(function, &place) != 0 && place.dli_saddr == function;
}

/// The table has a row for each slot of each class.
TEST(Slots, AreThoseThatUsersWereBuiltWith)
{
   SKIP_BECAUSE(symbol("_ZTV8DtString") == nullptr ? "the library is linked in, without names" : "");
   std::map<std::string, std::vector<Fields>> classes;
   for (Fields const & row : tableOf("slots.tsv"))
      classes[std::to_string(row[0].size()) + row[0]].push_back(row);
   for (auto const & [mangledClass, rows] : classes)
   {
      std::vector<void *> const slots = slotsOf(mangledClass);
      ASSERT_EQ(slots.size(), rows.size()) << mangledClass;
      for (std::size_t slot = 0; slot < rows.size(); ++slot)
         EXPECT_TRUE(slots[slot] == symbol(rows[slot][1]) || !isNamed(slots[slot]))
            << mangledClass << ' ' << slot << ' ' << rows[slot][2];
   }
}

} // namespace
