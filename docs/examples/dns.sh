# The gateway's relay, which is the name server of the WAN connection ppp0 here, too. It goes to the background as soon
# as it answers.
dnsmasq --conf-file=/dev/null --no-resolv --no-hosts --pid-file= --user=root --no-round-robin \
  --bind-interfaces --listen-address=127.0.0.1 --listen-address=::1 --local=/home/ --local=/example/ \
  --host-record=router.home,192.168.1.1,fd00::1 --cname=www.home,router.home \
  --host-record=camera.home,192.168.1.31 --host-record=camera.home,192.168.1.32 \
  --host-record=sip1.voice.example,198.51.100.11 --host-record=sip2.voice.example,198.51.100.12 \
  --srv-host=_sip._udp.voice.example,sip1.voice.example,5060,10,60 \
  --srv-host=_sip._udp.voice.example,sip2.voice.example,5062,20,40
mkdir -p /var/wan/ppp0
echo 'nameserver 127.0.0.1' >/var/wan/ppp0/dns
echo 127.0.0.1 >/var/wan/ppp0/ipaddr
