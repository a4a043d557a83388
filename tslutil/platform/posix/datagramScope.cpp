// SPDX-License-Identifier: MIT
#include "tslutil/platform/datagramScope.h"

#include <arpa/inet.h>
#include <cerrno>
#include <cstring>
#include <linux/filter.h>
#include <linux/if_packet.h>
#include <netinet/in.h>
#include <sys/socket.h>

namespace tsl::platform
{

namespace
{

// Where the fields stand that the filter looks at, from the start of the network header. The filter itself
// begins at the UDP header, with the sender's port.
constexpr unsigned theIpv4Source = 12;
constexpr unsigned theIpv4Target = 16;
constexpr unsigned theIpv6Source = 8;
constexpr unsigned theIpv6Target = 24;
constexpr unsigned theSourcePort = 0;
constexpr unsigned theIpv6Words = 4;

constexpr unsigned theWholeDatagram = 0xFFFFFFFF;

int setInt(SocketHandle socket, int level, int option, int value)
{
   return setSocketOption(socket, level, option, &value, sizeof value);
}

sockaddr_in ipv4(SocketName const & name)
{
   sockaddr_in address{};
   std::memcpy(&address, name.bytes, sizeof address);
   return address;
}

sockaddr_in6 ipv6(SocketName const & name)
{
   sockaddr_in6 address{};
   std::memcpy(&address, name.bytes, sizeof address);
   return address;
}

// A classic socket filter. Each step ends the program by itself or goes on with the next.
class FilterProgram
{
public:
   // An interface number of 0 leaves the interface untested.
   explicit FilterProgram(std::uint32_t interfaceIndex) : myLength(0), myInterfaceIndex(interfaceIndex) {}

   void load(unsigned size, unsigned offset) { add(BPF_LD | BPF_ABS | size, offset); }
   void loadNet(unsigned size, unsigned offset) { load(size, static_cast<unsigned>(SKF_NET_OFF) + offset); }
   void loadFact(unsigned fact) { load(BPF_W, static_cast<unsigned>(SKF_AD_OFF) + fact); }
   void mask(unsigned bits) { add(BPF_ALU | BPF_AND | BPF_K, bits); }

   void dropUnless(unsigned value)
   {
      add(BPF_JMP | BPF_JEQ | BPF_K, value, 1, 0);
      drop();
   }

   void acceptIf(unsigned value)
   {
      add(BPF_JMP | BPF_JEQ | BPF_K, value, 0, 1);
      accept();
   }

   // Accepts what is for more than one host, if it came by the interface.
   void acceptGroupIf(unsigned value)
   {
      if (myInterfaceIndex == 0)
         return acceptIf(value);
      add(BPF_JMP | BPF_JEQ | BPF_K, value, 0, 4);
      loadFact(SKF_AD_IFINDEX);
      acceptIf(myInterfaceIndex);
      drop();
   }

   void accept() { add(BPF_RET | BPF_K, theWholeDatagram); }
   void drop() { add(BPF_RET | BPF_K, 0); }

   int attach(SocketHandle socket)
   {
      sock_fprog const program{myLength, mySteps};
      return setSocketOption(socket, SOL_SOCKET, SO_ATTACH_FILTER, &program, sizeof program);
   }

private:
   void add(unsigned code, unsigned value, unsigned char ifTrue = 0, unsigned char ifFalse = 0)
   {
      mySteps[myLength++] = {static_cast<unsigned short>(code), ifTrue, ifFalse, value};
   }

   sock_filter mySteps[64];
   unsigned short myLength;
   std::uint32_t myInterfaceIndex;
};

void addIpv4(FilterProgram & program, InterfaceFilter const & filter)
{
   std::uint32_t const local = ntohl(ipv4(filter.local).sin_addr.s_addr);
   if (filter.peer.size != 0)
   {
      program.loadNet(BPF_W, theIpv4Source);
      program.dropUnless(ntohl(ipv4(filter.peer).sin_addr.s_addr));
   }
   program.loadNet(BPF_W, theIpv4Target);
   program.acceptIf(local);
   program.acceptGroupIf(INADDR_BROADCAST);
   program.acceptGroupIf(local | ~filter.netmask);
   program.mask(0xF0000000);
   program.acceptGroupIf(0xE0000000);
   // Broadcasts of other networks on the interface, from the wire and from this host.
   program.loadFact(SKF_AD_PKTTYPE);
   program.acceptGroupIf(PACKET_BROADCAST);
   program.acceptGroupIf(PACKET_LOOPBACK);
   program.drop();
}

void dropUnlessIpv6(FilterProgram & program, unsigned offset, in6_addr const & address)
{
   for (unsigned i = 0; i < theIpv6Words; ++i)
   {
      program.loadNet(BPF_W, offset + 4 * i);
      program.dropUnless(ntohl(address.s6_addr32[i]));
   }
}

void addIpv6(FilterProgram & program, InterfaceFilter const & filter)
{
   if (filter.peer.size != 0)
      dropUnlessIpv6(program, theIpv6Source, ipv6(filter.peer).sin6_addr);
   program.loadNet(BPF_B, theIpv6Target);
   program.acceptGroupIf(0xFF);
   dropUnlessIpv6(program, theIpv6Target, ipv6(filter.local).sin6_addr);
   program.accept();
}

int attachFilter(SocketHandle socket, InterfaceFilter const & filter, bool testsInterface)
{
   FilterProgram program(testsInterface ? filter.interfaceIndex : 0);
   if (filter.peer.size != 0)
   {
      program.load(BPF_H, theSourcePort);
      program.dropUnless(portOf(filter.peer));
   }
   if (filter.local.data()->sa_family == AF_INET6)
      addIpv6(program, filter);
   else
      addIpv4(program, filter);
   return program.attach(socket);
}

int boundInterface(SocketHandle socket)
{
   int index = 0;
   std::size_t size = sizeof index;
   return getSocketOption(socket, SOL_SOCKET, SO_BINDTOIFINDEX, &index, size) == 0 ? index : 0;
}

// Binding once more takes a privilege, binding the first time none.
bool bindToInterface(SocketHandle socket, std::uint32_t interfaceIndex)
{
   int const index = static_cast<int>(interfaceIndex);
   return boundInterface(socket) == index || setInt(socket, SOL_SOCKET, SO_BINDTOIFINDEX, index) == 0;
}

template<class Name>
int connectTo(SocketHandle socket, Name const & name)
{
   return connectSocket(socket, reinterpret_cast<sockaddr const *>(&name), sizeof name);
}

// A group, from which nothing can come. One without a scope leaves the socket unbound to the interface, which
// would cut it off from the others; where groups have no route, as on loopback, the host's own address with a
// port that nobody sends from.
int makeDeafIpv6(SocketHandle socket, SocketName const & local, std::uint32_t interfaceIndex)
{
   if (int const error = setInt(socket, IPPROTO_IPV6, IPV6_MULTICAST_IF, static_cast<int>(interfaceIndex)))
      return error;
   sockaddr_in6 nobody{};
   nobody.sin6_family = AF_INET6;
   nobody.sin6_port = htons(1);
   nobody.sin6_addr.s6_addr[0] = 0xFF;
   nobody.sin6_addr.s6_addr[1] = 0x0E;
   nobody.sin6_addr.s6_addr[15] = 1;
   if (connectTo(socket, nobody) == 0)
      return 0;
   nobody.sin6_addr = ipv6(local).sin6_addr;
   nobody.sin6_scope_id = ipv6(local).sin6_scope_id;
   return connectTo(socket, nobody);
}

int makeDeafIpv4(SocketHandle socket)
{
   sockaddr_in nobody{};
   nobody.sin_family = AF_INET;
   nobody.sin_port = htons(1);
   nobody.sin_addr.s_addr = htonl(INADDR_ALLHOSTS_GROUP);
   return connectTo(socket, nobody);
}

int changeMembership(SocketHandle socket, bool join, sockaddr const * group,
                     sockaddr const * interfaceAddress, std::uint32_t interfaceIndex)
{
   if (group->sa_family == AF_INET6)
   {
      ipv6_mreq request{};
      request.ipv6mr_multiaddr = reinterpret_cast<sockaddr_in6 const *>(group)->sin6_addr;
      request.ipv6mr_interface = interfaceIndex;
      return setSocketOption(socket, IPPROTO_IPV6, join ? IPV6_JOIN_GROUP : IPV6_LEAVE_GROUP, &request,
                             sizeof request);
   }
   ip_mreqn request{};
   request.imr_multiaddr = reinterpret_cast<sockaddr_in const *>(group)->sin_addr;
   if (interfaceAddress != nullptr)
      request.imr_address = reinterpret_cast<sockaddr_in const *>(interfaceAddress)->sin_addr;
   request.imr_ifindex = static_cast<int>(interfaceIndex);
   return setSocketOption(socket, IPPROTO_IP, join ? IP_ADD_MEMBERSHIP : IP_DROP_MEMBERSHIP, &request,
                          sizeof request);
}

} // namespace

int prepareDatagramSocket(SocketHandle socket, bool isIpv6)
{
   int error = 0;
   if (isIpv6)
   {
      error = setInt(socket, IPPROTO_IPV6, IPV6_V6ONLY, 0);
      if (error == 0)
         error = setInt(socket, IPPROTO_IPV6, IPV6_MULTICAST_ALL, 0);
   }
   if (error == 0)
      error = setInt(socket, IPPROTO_IP, IP_MULTICAST_ALL, 0);
   return error != 0 ? error : setInt(socket, IPPROTO_IP, IP_MTU_DISCOVER, IP_PMTUDISC_DONT);
}

// The kernel gives up a port that it chose itself.
int disconnectDatagramSocket(SocketHandle socket)
{
   SocketName before;
   SocketName after;
   if (int const error = localSocketName(socket, before))
      return error;
   sockaddr_in nobody{};
   nobody.sin_family = AF_UNSPEC;
   int error = connectTo(socket, nobody);
   if (error == 0)
      error = localSocketName(socket, after);
   if (error != 0 || portOf(after) != 0)
      return error;
   in_port_t const port = htons(portOf(before));
   std::memcpy(after.bytes + offsetof(sockaddr_in, sin_port), &port, sizeof port);
   return bindSocket(socket, after.data(), after.size);
}

int hearInterfaceOnly(SocketHandle socket, InterfaceFilter const & filter)
{
   return attachFilter(socket, filter, !bindToInterface(socket, filter.interfaceIndex));
}

int makeDeaf(SocketHandle socket, std::uint32_t interfaceIndex)
{
   SocketName local;
   if (int const error = localSocketName(socket, local))
      return error;
   return local.data()->sa_family == AF_INET6 ? makeDeafIpv6(socket, local, interfaceIndex)
                                              : makeDeafIpv4(socket);
}

bool isGroup(sockaddr const * name)
{
   if (name->sa_family == AF_INET6)
      return IN6_IS_ADDR_MULTICAST(&reinterpret_cast<sockaddr_in6 const *>(name)->sin6_addr);
   return IN_MULTICAST(ntohl(reinterpret_cast<sockaddr_in const *>(name)->sin_addr.s_addr));
}

bool lacksInterface(int error, sockaddr const * to)
{
   return error == ENETUNREACH &&
          (isGroup(to) || (to->sa_family == AF_INET &&
                           reinterpret_cast<sockaddr_in const *>(to)->sin_addr.s_addr == INADDR_BROADCAST));
}

int joinGroup(SocketHandle socket, sockaddr const * group, sockaddr const * interfaceAddress,
              std::uint32_t interfaceIndex)
{
   return changeMembership(socket, true, group, interfaceAddress, interfaceIndex);
}

int leaveGroup(SocketHandle socket, sockaddr const * group, sockaddr const * interfaceAddress,
               std::uint32_t interfaceIndex)
{
   return changeMembership(socket, false, group, interfaceAddress, interfaceIndex);
}

} // namespace tsl::platform
