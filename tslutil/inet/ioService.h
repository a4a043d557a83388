// SPDX-License-Identifier: MIT
#pragma once

#include <boost/asio/io_context.hpp>

#include <memory>

namespace tsl
{

/// Holds the io_context of one socket, which is made when something needs it: a synchronous socket never
/// does. Declared ahead of what uses it, since it has to outlive all of that.
class IoService
{
public:
   boost::asio::io_context & context()
   {
      if (myContext == nullptr)
         myContext = std::make_unique<boost::asio::io_context>();
      return *myContext;
   }

   bool isMade() const { return myContext != nullptr; }

private:
   std::unique_ptr<boost::asio::io_context> myContext;
};

} // namespace tsl
