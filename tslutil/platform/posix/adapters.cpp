// SPDX-License-Identifier: MIT
// The kernel's own tables by netlink, which follow the calling thread's network namespace, as the files of
// /proc/thread-self/net do. The name of an alias is a label of an address there and doesn't show.
#include "tslutil/platform/adapters.h"

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <cstdio>
#include <cstring>
#include <functional>
#include <map>
#include <memory>
#include <string_view>

#include <linux/if.h>
#include <linux/if_addr.h>
#include <linux/if_arp.h>
#include <linux/netlink.h>
#include <linux/rtnetlink.h>
#include <linux/wireless.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

namespace tsl::platform
{

namespace
{

// What the kernel sends: records behind a header that begins with the record's own length.

/// Gives each record of `bytes` with what is behind its header to `take`; stops at one that is malformed.
template<class Header, class Length, class Take>
void forEachRecord(std::string_view bytes, Length Header::*length, Take take)
{
   while (bytes.size() >= sizeof(Header))
   {
      Header header;
      std::memcpy(&header, bytes.data(), sizeof header);
      std::size_t const size = header.*length;
      if (size < sizeof header || size > bytes.size())
         return;
      take(header, bytes.substr(sizeof header, size - sizeof header));
      bytes.remove_prefix(std::min((size + 3) / 4 * 4, bytes.size()));
   }
}

/// Copies as much of `bytes` as a value holds; what is missing stays zero.
template<class Value>
Value valueOf(std::string_view bytes)
{
   Value value = {};
   std::memcpy(&value, bytes.data(), std::min(bytes.size(), sizeof value));
   return value;
}

/// The attributes behind the fixed fields of a record.
template<class Fields, class Take>
void forEachAttribute(std::string_view record, Take take)
{
   record.remove_prefix(std::min(sizeof(Fields), record.size()));
   forEachRecord(record, &rtattr::rta_len,
                 [&](rtattr const & attribute, std::string_view value)
                 { take(attribute.rta_type & NLA_TYPE_MASK, value); });
}

enum class Dump
{
   complete,
   failed,
   /// Something changed on the way: the records may not fit together.
   changed
};

/// A conversation with the kernel about its network tables.
class RouteSocket
{
public:
   RouteSocket() : descriptor(::socket(AF_NETLINK, SOCK_RAW | SOCK_CLOEXEC, NETLINK_ROUTE)), buffer(65536) {}

   ~RouteSocket()
   {
      if (descriptor >= 0)
         ::close(descriptor);
   }

   RouteSocket(RouteSocket const &) = delete;
   RouteSocket & operator=(RouteSocket const &) = delete;

   /// Asks for all records of a table and gives those of type `wanted` to `take`.
   Dump dump(int request, int wanted, int family, std::function<void(std::string_view)> const & take)
   {
      if (!ask(request, family))
         return Dump::failed;
      Dump outcome = Dump::complete;
      bool done = false;
      while (!done)
      {
         ssize_t const size = receive();
         if (size <= 0)
            return Dump::failed;
         forEachRecord(std::string_view(buffer.data(), static_cast<std::size_t>(size)), &nlmsghdr::nlmsg_len,
                       [&](nlmsghdr const & header, std::string_view record)
                       {
                          if (header.nlmsg_seq != sequence)
                             return;
                          if ((header.nlmsg_flags & NLM_F_DUMP_INTR) != 0 && outcome == Dump::complete)
                             outcome = Dump::changed;
                          if (header.nlmsg_type == NLMSG_ERROR)
                             outcome = Dump::failed;
                          else if (header.nlmsg_type == wanted)
                             take(record);
                          done = done || header.nlmsg_type == NLMSG_DONE || header.nlmsg_type == NLMSG_ERROR;
                       });
      }
      return outcome;
   }

private:
   bool ask(int request, int family)
   {
      struct
      {
         nlmsghdr header;
         rtgenmsg body;
      } message = {};
      message.header.nlmsg_len = sizeof message;
      message.header.nlmsg_type = static_cast<__u16>(request);
      message.header.nlmsg_flags = NLM_F_REQUEST | NLM_F_DUMP;
      message.header.nlmsg_seq = ++sequence;
      message.body.rtgen_family = static_cast<unsigned char>(family);
      sockaddr_nl kernel = {};
      kernel.nl_family = AF_NETLINK;
      return ::sendto(descriptor, &message, sizeof message, 0, reinterpret_cast<sockaddr *>(&kernel),
                      sizeof kernel) == static_cast<ssize_t>(sizeof message);
   }

   /// The size of the next datagram of the kernel, now in the buffer; 0 or below if there is none.
   ssize_t receive()
   {
      for (;;)
      {
         sockaddr_nl sender = {};
         socklen_t length = sizeof sender;
         ssize_t const size = ::recvfrom(descriptor, buffer.data(), buffer.size(), MSG_TRUNC,
                                         reinterpret_cast<sockaddr *>(&sender), &length);
         if (size < 0 && errno == EINTR)
            continue;
         if (size > 0 && sender.nl_pid != 0)
            continue; // another process's
         return size <= static_cast<ssize_t>(buffer.size()) ? size : -1;
      }
   }

   int descriptor;
   std::vector<char> buffer;
   __u32 sequence = 0;
};

/// Repeats `read` while the tables change under it, a few times: in the end a list that may be a little off
/// is better than none.
bool untilUnchanged(std::function<Dump(RouteSocket &)> const & read)
{
   RouteSocket socket;
   Dump outcome = Dump::changed;
   for (int tries = 0; tries < 8 && outcome == Dump::changed; ++tries)
      outcome = read(socket);
   return outcome != Dump::failed;
}

std::uint32_t typeNumber(unsigned short hardware)
{
   switch (hardware)
   {
   case ARPHRD_ETHER:
      return adapterEthernet;
   case ARPHRD_FDDI:
      return adapterFddi;
   case ARPHRD_LOOPBACK:
      return adapterLoopback;
   case ARPHRD_IEEE80211:
   case ARPHRD_IEEE80211_PRISM:
   case ARPHRD_IEEE80211_RADIOTAP:
      return adapterWireless;
   case ARPHRD_IEEE1394:
      return adapterIeee1394;
   default:
      return adapterOther;
   }
}

/// Loopback and tunnels call their operational state unknown while they carry packets: the flags decide
/// first.
AdapterStatus statusOf(unsigned flags, unsigned operationalState)
{
   if ((flags & IFF_UP) != 0 && (flags & IFF_RUNNING) != 0)
      return AdapterStatus::up;
   switch (operationalState)
   {
   case IF_OPER_TESTING:
      return AdapterStatus::testing;
   case IF_OPER_DORMANT:
      return AdapterStatus::dormant;
   case IF_OPER_NOTPRESENT:
      return AdapterStatus::notPresent;
   case IF_OPER_LOWERLAYERDOWN:
      return AdapterStatus::lowerLayerDown;
   default:
      return AdapterStatus::down;
   }
}

typedef std::map<std::uint32_t, Adapter> AdaptersByIndex;

/// Whether addresses of a family belong to what was asked for.
bool isWanted(Adapter const & adapter, int family)
{
   bool const wantsAll = adapter.family != 4 && adapter.family != 6;
   return family != 0 && (wantsAll || adapter.family == family);
}

void addLink(std::string_view record, int family, AdaptersByIndex & adapters)
{
   auto const link = valueOf<ifinfomsg>(record);
   Adapter adapter;
   adapter.family = family;
   adapter.index = adapter.ipv6Index = static_cast<std::uint32_t>(link.ifi_index);
   adapter.type = typeNumber(link.ifi_type);
   // Loopback lacks the flag, and yet groups work on it.
   adapter.noMulticast = (link.ifi_flags & (IFF_MULTICAST | IFF_LOOPBACK)) == 0;
   unsigned char operationalState = IF_OPER_UNKNOWN;
   forEachAttribute<ifinfomsg>(record,
                               [&](int type, std::string_view value)
                               {
                                  if (type == IFLA_IFNAME)
                                     adapter.name = value.substr(0, value.find('\0'));
                                  else if (type == IFLA_ADDRESS && adapter.type != adapterLoopback)
                                     adapter.physicalAddress.assign(value.begin(), value.end());
                                  else if (type == IFLA_MTU)
                                     adapter.mtu = valueOf<std::uint32_t>(value);
                                  else if (type == IFLA_OPERSTATE)
                                     operationalState = valueOf<unsigned char>(value);
                               });
   adapter.status = statusOf(link.ifi_flags, operationalState);
   adapters[adapter.index] = std::move(adapter);
}

/// The adapter's index for what holds on one link only: fe80::/10, and groups of interface and link scope.
std::uint32_t scopeIdOf(std::array<unsigned char, 16> const & bytes, std::uint32_t index)
{
   bool const isLinkLocal = bytes[0] == 0xFE && (bytes[1] & 0xC0) == 0x80;
   bool const isGroupOfLink = bytes[0] == 0xFF && ((bytes[1] & 0x0F) == 1 || (bytes[1] & 0x0F) == 2);
   return isLinkLocal || isGroupOfLink ? index : 0;
}

/// The own address of a record; on a point-to-point link the other attribute is the peer's.
std::array<unsigned char, 16> addressBytes(std::string_view record)
{
   std::string_view bytes;
   bool isLocal = false;
   forEachAttribute<ifaddrmsg>(record,
                               [&](int type, std::string_view value)
                               {
                                  if (type == IFA_LOCAL || (type == IFA_ADDRESS && !isLocal))
                                     bytes = value;
                                  isLocal = isLocal || type == IFA_LOCAL;
                               });
   return valueOf<std::array<unsigned char, 16>>(bytes);
}

void addAddress(std::string_view record, AdaptersByIndex & adapters)
{
   auto const fields = valueOf<ifaddrmsg>(record);
   AdapterAddress address;
   address.family = fields.ifa_family == AF_INET ? 4 : fields.ifa_family == AF_INET6 ? 6 : 0;
   auto const owner = adapters.find(fields.ifa_index);
   if (owner == adapters.end() || !isWanted(owner->second, address.family))
      return;
   address.bytes = addressBytes(record);
   if (address.family == 6)
      address.scopeId = scopeIdOf(address.bytes, fields.ifa_index);
   // An optimistic address is tentative too, but may be used.
   bool const isTentative = (fields.ifa_flags & (IFA_F_TENTATIVE | IFA_F_OPTIMISTIC)) == IFA_F_TENTATIVE;
   address.isTransient = isTentative || (fields.ifa_flags & IFA_F_DADFAILED) != 0;
   owner->second.unicast.push_back(address);
   owner->second.prefixes.push_back({address.family, fields.ifa_prefixlen});
}

bool isWireless(std::string const & name)
{
   int const descriptor = ::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
   if (descriptor < 0)
      return false;
   iwreq request = {};
   name.copy(request.ifr_name, sizeof request.ifr_name - 1);
   bool const answered = ::ioctl(descriptor, SIOCGIWNAME, &request) == 0;
   ::close(descriptor);
   return answered;
}

/// Gives each line of a file of the thread's network to `take`. No file, no line.
void forEachLine(char const * path, std::function<void(char const *)> const & take)
{
   std::unique_ptr<std::FILE, int (*)(std::FILE *)> const file(std::fopen(path, "re"), std::fclose);
   char line[256];
   while (file != nullptr && std::fgets(line, sizeof line, file.get()) != nullptr)
      take(line);
}

typedef std::map<std::uint32_t, Adapter *> KnownAdapters;

/// The adapter whose groups of a family are wanted, null if they aren't.
Adapter * adapterOf(KnownAdapters const & adapters, std::uint32_t index, int family)
{
   auto const found = adapters.find(index);
   return found != adapters.end() && isWanted(*found->second, family) ? found->second : nullptr;
}

/// A line that begins with an index names an adapter, the indented ones behind it are its groups, each as the
/// machine's own reading of four bytes in network order.
void addIpv4Groups(KnownAdapters const & adapters)
{
   Adapter * current = nullptr;
   forEachLine("/proc/thread-self/net/igmp",
               [&](char const * line)
               {
                  bool const isGroup = line[0] == '\t';
                  unsigned number = 0;
                  bool const isNumber = std::sscanf(line, isGroup ? "%x" : "%u", &number) == 1;
                  if (!isGroup)
                     current = isNumber ? adapterOf(adapters, number, 4) : nullptr;
                  if (!isGroup || !isNumber || current == nullptr)
                     return;
                  AdapterAddress address;
                  address.family = 4;
                  std::memcpy(address.bytes.data(), &number, sizeof number);
                  current->multicast.push_back(address);
               });
}

void addIpv6Groups(KnownAdapters const & adapters)
{
   forEachLine("/proc/thread-self/net/igmp6",
               [&](char const * line)
               {
                  unsigned index = 0;
                  char digits[33] = {};
                  bool const isGroup = std::sscanf(line, "%u %*s %32[0-9a-f]", &index, digits) == 2;
                  Adapter * const adapter = isGroup ? adapterOf(adapters, index, 6) : nullptr;
                  if (adapter == nullptr || std::strlen(digits) != 32)
                     return;
                  AdapterAddress address;
                  address.family = 6;
                  for (std::size_t i = 0; i < address.bytes.size(); ++i)
                     address.bytes[i] =
                        static_cast<unsigned char>(std::stoul(std::string(digits + 2 * i, 2), nullptr, 16));
                  address.scopeId = scopeIdOf(address.bytes, index);
                  adapter->multicast.push_back(address);
               });
}

} // namespace

bool readAdapters(int family, std::vector<Adapter> & adapters)
{
   AdaptersByIndex found;
   auto const read = [&](RouteSocket & socket)
   {
      found.clear();
      Dump const links = socket.dump(RTM_GETLINK, RTM_NEWLINK, AF_UNSPEC,
                                     [&](std::string_view record) { addLink(record, family, found); });
      if (links == Dump::failed)
         return links;
      Dump const addresses = socket.dump(RTM_GETADDR, RTM_NEWADDR, AF_UNSPEC,
                                         [&](std::string_view record) { addAddress(record, found); });
      return addresses == Dump::complete ? links : addresses;
   };
   if (!untilUnchanged(read))
      return false;
   std::vector<Adapter> result;
   for (auto & entry : found)
      result.push_back(std::move(entry.second));
   // Loopback has the lowest index; a default is chosen from the front.
   std::stable_partition(result.begin(), result.end(),
                         [](Adapter const & adapter) { return adapter.type != adapterLoopback; });
   adapters.swap(result);
   return true;
}

void completeAdapters(std::vector<Adapter *> const & adapters)
{
   KnownAdapters incomplete;
   for (Adapter * adapter : adapters)
   {
      if (adapter->isComplete)
         continue;
      incomplete[adapter->index] = adapter;
      if (adapter->type == adapterEthernet && isWireless(adapter->name))
         adapter->type = adapterWireless;
      adapter->isComplete = true;
   }
   if (incomplete.empty())
      return;
   addIpv4Groups(incomplete);
   addIpv6Groups(incomplete);
}

bool readIpv4Entries(std::vector<Ipv4Entry> & entries)
{
   std::vector<Ipv4Entry> found;
   auto const take = [&](std::string_view record)
   {
      auto const bytes = addressBytes(record);
      std::uint32_t address = 0;
      for (std::size_t i = 0; i < 4; ++i)
         address = address << 8 | bytes[i];
      unsigned const length = std::min<unsigned>(valueOf<ifaddrmsg>(record).ifa_prefixlen, 32);
      found.push_back({address, length == 0 ? 0 : 0xFFFFFFFFu << (32 - length)});
   };
   bool const done = untilUnchanged(
      [&](RouteSocket & socket)
      {
         found.clear();
         return socket.dump(RTM_GETADDR, RTM_NEWADDR, AF_INET, take);
      });
   if (done)
      entries.swap(found);
   return done;
}

} // namespace tsl::platform
