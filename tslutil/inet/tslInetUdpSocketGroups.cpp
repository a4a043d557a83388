// SPDX-License-Identifier: MIT
// The multicast groups of UDP sockets.
#include "tslutil/inet/boostAddress.h"
#include "tslutil/inet/errorNumbers.h"
#include "tslutil/inet/socketAccess.h"
#include "tslutil/inet/tslInetDevice.h"
#include "tslutil/inet/udpSocketImpl.h"
#include "tslutil/platform/datagramScope.h"

#include <algorithm>

using namespace tsl::errorNumbers;

namespace
{

DtInetAddr const * addressOf(DtInetDevice const & device, bool ipv6)
{
   return ipv6 ? device.ipv6Addr() : device.ipv4Addr();
}

/// The first active multicast device that has an address of a family; null if there is none.
boost::shared_ptr<DtInetDevice> findDevice(bool ipv6)
{
   for (boost::shared_ptr<DtInetDevice> const & device : DtInetUtils::scanMulticastDevices(true, false))
      if (addressOf(*device, ipv6) != nullptr)
         return device;
   return nullptr;
}

typedef int ChangeMembership(tsl::platform::SocketHandle socket, sockaddr const * group,
                             sockaddr const * interfaceAddress, std::uint32_t interfaceIndex);

int changeMembership(ChangeMembership * change, tsl::DatagramSocket const & socket, DtInetAddr const & group,
                     DtInetAddr const & interfaceAddress, std::uint32_t interfaceIndex)
{
   tsl::platform::SocketName const groupName = tsl::nameOf(DtInetEndpoint(group, 0, DtInetProtoUdp));
   tsl::platform::SocketName const interfaceName =
      tsl::nameOf(DtInetEndpoint(interfaceAddress, 0, DtInetProtoUdp));
   // Without a number the group's own scope tells the interface.
   if (group.isIPv6() && interfaceIndex == 0)
      interfaceIndex = static_cast<std::uint32_t>(tsl::boostAddress(group).to_v6().scope_id());
   return change(socket.handle(), groupName.data(), interfaceName.data(), interfaceIndex);
}

} // namespace

bool DtInetUdpSocket::joinMulticastGroup(DtInetEndpoint const & group, DtInetDevice * device)
{
   return joinMulticastGroup(group.address(), device);
}

bool DtInetUdpSocket::joinMulticastGroup(DtInetAddr const & group, DtInetDevice * device)
{
   bool const isChosen = device != nullptr && device->isMulticastCapable();
   boost::shared_ptr<DtInetDevice> const found = isChosen ? nullptr : findDevice(group.isIPv6());
   DtInetDevice const * const used = isChosen ? device : found.get();
   DtInetAddr const * const address = used == nullptr ? nullptr : addressOf(*used, group.isIPv6());
   if (address == nullptr)
      return refuse(theNotSupported, DtString("DtInetUdpSocket::joinMulticastGroup(): ") +
                                        "Error joining group " + group.toDtString() +
                                        " cannot find a multicast capable device");
   std::pair<DtInetAddr, DtInetAddr> const membership(group, *address);
   auto & memberships = myImpl->memberships;
   if (std::find(memberships.begin(), memberships.end(), membership) != memberships.end())
      return true;
   if (!setMcastDevice(*address))
      return false;
   int const error =
      changeMembership(tsl::platform::joinGroup, myImpl->socket, group, *address, used->interfaceIndex());
   if (error != 0)
      return fail(tsl::errorNumber(error), DtString("DtInetUdpSocket::joinMulticastGroup(): ") +
                                              "Error joining group " + group.toDtString() + " on interface " +
                                              address->toDtString() + "\n" + tsl::errorMessage(error));
   memberships.push_back(membership);
   return true;
}

bool DtInetUdpSocket::dropMulticastGroup(DtInetEndpoint const & group, DtInetDevice * device)
{
   return dropMulticastGroup(group.address(), device);
}

// No mirror of the join: a multicast capable device is refused, and an IPv6 group is left on the interface of
// the argument rather than on that of the device found.
bool DtInetUdpSocket::dropMulticastGroup(DtInetAddr const & group, DtInetDevice * device)
{
   bool const isRefused = device != nullptr && device->isMulticastCapable();
   boost::shared_ptr<DtInetDevice> const found = isRefused ? nullptr : findDevice(group.isIPv6());
   if (found == nullptr)
      return refuse(theNotSupported, DtString("DtInetUdpSocket::dropMulticastGroup(): ") +
                                        "Error dropping group " + group.toDtString() +
                                        " cannot find a multicast capable device");
   DtInetAddr const address(*addressOf(*found, group.isIPv6()));
   auto & memberships = myImpl->memberships;
   auto const membership =
      std::find(memberships.begin(), memberships.end(), std::pair<DtInetAddr, DtInetAddr>(group, address));
   if (membership == memberships.end())
      return false;
   memberships.erase(membership);
   if (!setMcastDevice(address))
      return false;
   std::uint32_t const givenIndex = device == nullptr ? 0 : device->interfaceIndex();
   int const error = changeMembership(tsl::platform::leaveGroup, myImpl->socket, group, address,
                                      group.isIPv6() ? givenIndex : found->interfaceIndex());
   if (error != 0)
      return fail(tsl::errorNumber(error), DtString("DtInetUdpSocket::dropMulticastGroup(): ") +
                                              "Error leaving group " + group.toDtString() + " on interface " +
                                              address.toDtString() + "\n" + tsl::errorMessage(error));
   return true;
}
