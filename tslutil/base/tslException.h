// SPDX-License-Identifier: MIT
#pragma once

#include "tslutil/base/tslString.h"
#include "tslutil/tslutilExport.h"

#include <iosfwd>

/// What the library throws for misuse that a caller must not overlook: a value with a message, the place of
/// the throw and an owned chain of the exceptions that led to it. Copies are deep, but a cause that cannot be
/// copied is left out rather than reported.
class TSLUTIL_EXPORT DtException
{
public:
   /// Keeps `message` and a copy of `cause`, and makes the location: function, " [", file, ":", line, "] ".
   /// Null texts count as empty. Does not throw: what cannot be built stays empty and is told on `std::cerr`.
   DtException(char const * message, char const * function, char const * file, unsigned int line,
               DtException const * cause = nullptr);
   /// Keeps `message`, null for none, and a copy of `cause`. The location stays empty.
   explicit DtException(char const * message, DtException const * cause = nullptr);
   /// A deep copy: the chain of causes too.
   DtException(DtException const & other);
   /// The same.
   DtException & operator=(DtException const & other);

   // Virtual operations, in slot order.

   virtual ~DtException();
   /// The exception that led to this one, owned by it, or null.
   virtual DtException const * lastException() const;
   /// The far end of the chain; this object if it has no cause.
   virtual DtException const * initialException() const;
   /// The message, valid for the life of this object.
   virtual char const * message() const;
   /// The message.
   virtual DtString what() const;
   /// The location.
   virtual DtString where() const;

private:
   DtString myLocation;
   DtString myMessage;
   DtException * myCause;
};

/// One line for each exception of the chain, the newest first: message, " (", location, ")".
TSLUTIL_EXPORT std::ostream & operator<<(std::ostream & out, DtException const & exception);

/// A DtException that `catch` can tell from others by its number.
template<int N>
class TSLUTIL_EXPORT DtTemplatedException : public DtException
{
public:
   using DtException::DtException;
};

extern template class TSLUTIL_EXPORT DtTemplatedException<-1>;
extern template class TSLUTIL_EXPORT DtTemplatedException<1001>;
extern template class TSLUTIL_EXPORT DtTemplatedException<1002>;
extern template class TSLUTIL_EXPORT DtTemplatedException<1003>;

typedef DtTemplatedException<-1> DtInvalidInput;
typedef DtTemplatedException<1001> DtThreadAlreadyRunning;
typedef DtTemplatedException<1002> DtThreadNotStarted;
typedef DtTemplatedException<1003> DtThreadCreationError;

/// For layers above to report an RTI library that doesn't fit; this library doesn't throw it.
class TSLUTIL_EXPORT DtTslRtiMismatchException : public DtException
{
public:
   /// Keeps `message`; without a location or a cause.
   explicit DtTslRtiMismatchException(char const * message);
   /// A copy, as of any DtException.
   DtTslRtiMismatchException(DtTslRtiMismatchException const & other);
   /// The same.
   DtTslRtiMismatchException & operator=(DtTslRtiMismatchException const & other);
   ~DtTslRtiMismatchException() override;
};
