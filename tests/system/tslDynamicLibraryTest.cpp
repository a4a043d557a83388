// SPDX-License-Identifier: MIT
#include "tslutil/system/tslDynamicLibrary.h"

#include "support/temporaryFolder.h"

#include <gtest/gtest.h>

#include <memory>
#include <sys/stat.h>

namespace
{

TEST(DtDynamicLibrary, FindsWhatTheLibraryItselfDefines)
{
   std::unique_ptr<DtDynamicLibrary> const library(DtDynamicLibrary::create("libm.so.6", false));
   ASSERT_TRUE(library->isValid()) << library->error();
   // The second one is there, but in a library that this one needs.
   for (char const * symbol : {"no_such_function", "malloc"})
   {
      EXPECT_EQ(library->procAddress(symbol), nullptr);
      EXPECT_EQ(library->error(), "Could not find symbol " + std::string(symbol) + " in library libm.so.6");
   }
   auto const root = reinterpret_cast<double (*)(double)>(library->procAddress("sqrt"));
   ASSERT_NE(root, nullptr);
   EXPECT_EQ(root(9.0), 3.0);
   EXPECT_EQ(library->error(), nullptr) << "a success clears the older complaint";
}

TEST(DtDynamicLibrary, TellsWhyNothingWasLoaded)
{
   TemporaryFolder const folder;
   folder.write("text.so", "This is no library, but as long as the header of one would have to be.........");
   folder.write("empty.so", "");
   ASSERT_EQ(mkdir(folder.path("folder.so").c_str(), 0700), 0);
   ASSERT_EQ(mkfifo(folder.path("pipe.so").c_str(), 0600), 0);
   // clang-format off
   std::tuple<std::string, bool, char const *> const rows[] = {
      {folder.path("text"), true, "193"}, {folder.path("text.so"), false, "193"}, {folder.path("text.so"), true, "126"},
      {folder.path("empty"), true, "193"}, {folder.path("folder"), true, "126"}, {folder.path("pipe"), true, "126"},
      {folder.path("absent"), true, "126"}, {"libNoSuchLibrary", true, "126"}, {"", false, "126"}};
   // clang-format on
   for (auto const & [name, addExtension, number] : rows)
   {
      std::unique_ptr<DtDynamicLibrary> const library(DtDynamicLibrary::create(name, addExtension));
      EXPECT_EQ(library->libraryName(), DtString(name + (addExtension ? ".so" : "")));
      EXPECT_TRUE(!library->isValid() && library->procAddress("malloc") == nullptr);
      EXPECT_EQ(library->error(), "LoadLibrary returned NULL (Error: " + std::string(number) + ")")
         << "without a library the complaint stays";
   }
}

} // namespace
