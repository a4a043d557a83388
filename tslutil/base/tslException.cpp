// SPDX-License-Identifier: MIT
#include "tslutil/base/tslException.h"

#include <iostream>
#include <utility>

namespace
{

char const * orEmpty(char const * text)
{
   return text != nullptr ? text : "";
}

/// A deep copy of the chain from `cause` on; null if it cannot be made.
DtException * copyOf(DtException const * cause)
{
   try
   {
      return cause != nullptr ? new DtException(*cause) : nullptr;
   }
   catch (...)
   {
      return nullptr;
   }
}

} // namespace

DtException::DtException(char const * message, char const * function, char const * file, unsigned int line,
                         DtException const * cause)
   : myCause(copyOf(cause))
{
   try
   {
      myMessage = message;
      myLocation = orEmpty(function);
      myLocation += " [";
      myLocation += orEmpty(file);
      myLocation += ":";
      myLocation += DtString(line);
      myLocation += "] ";
   }
   catch (...)
   {
      std::cerr << "Error Creating DtException, could not produce valid error string: " << orEmpty(file)
                << std::endl;
   }
}

DtException::DtException(char const * message, DtException const * cause)
   : myMessage(message), myCause(copyOf(cause))
{
}

DtException::DtException(DtException const & other)
   : myLocation(other.myLocation), myMessage(other.myMessage), myCause(copyOf(other.myCause))
{
}

DtException & DtException::operator=(DtException const & other)
{
   if (this != &other)
   {
      // The other may be a link of this one's own chain, so that is copied before this chain goes.
      DtException source(other);
      std::swap(myCause, source.myCause);
      myMessage = source.myMessage;
      myLocation = source.myLocation;
   }
   return *this;
}

DtException::~DtException()
{
   delete myCause;
}

DtException const * DtException::lastException() const
{
   return myCause;
}

DtException const * DtException::initialException() const
{
   DtException const * link = this;
   while (link->lastException() != nullptr)
      link = link->lastException();
   return link;
}

char const * DtException::message() const
{
   return myMessage.string();
}

DtString DtException::what() const
{
   return myMessage;
}

DtString DtException::where() const
{
   return myLocation;
}

std::ostream & operator<<(std::ostream & out, DtException const & exception)
{
   for (DtException const * link = &exception; link != nullptr; link = link->lastException())
      out << link->message() << " (" << link->where() << ")" << std::endl;
   return out;
}

template class DtTemplatedException<-1>;
template class DtTemplatedException<1001>;
template class DtTemplatedException<1002>;
template class DtTemplatedException<1003>;

DtTslRtiMismatchException::DtTslRtiMismatchException(char const * message) : DtException(message, nullptr) {}

DtTslRtiMismatchException::DtTslRtiMismatchException(DtTslRtiMismatchException const & other) = default;

DtTslRtiMismatchException &
DtTslRtiMismatchException::operator=(DtTslRtiMismatchException const & other) = default;

DtTslRtiMismatchException::~DtTslRtiMismatchException() = default;
