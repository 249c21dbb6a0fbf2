# An Ethernet link to the provider with the default route, a tunnel, and two firewall rules that name the tunnel.
ip link add wan0 type veth peer name provider0
ip link set wan0 addrgenmode none up
ip link set provider0 addrgenmode none up
ip address add 203.0.113.2/30 dev wan0
ip address add fe80::1/64 dev wan0 nodad
ip route add default via 203.0.113.1 dev wan0
ip tuntap add dev ppp0 mode tun
ip address add 10.64.0.2 peer 10.64.0.1 dev ppp0
iptables -A FORWARD -i ppp0 -j DROP
iptables -A FORWARD -i wan0 -j ACCEPT
iptables -A FORWARD -o ppp0 -j ACCEPT
