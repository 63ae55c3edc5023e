#include <map>

#include "fixture.h"

namespace {

bool Listens(int port) {
  const std::string listening = ":" + std::to_string(port) + " ";
  return WaitFor([&] {
    return RunToEnd({"ss", "-Hltn"}).output.find(listening) != std::string::npos;
  });
}

Ended AskServer(const std::string& server) {
  return RunToEnd({Program("qmx-console"), "--timeout", "5", "tcp://" + server, "lcfg"});
}

TEST_F(Console, GoesThroughDeviceServers) {
  // ser2net finds no address where the machine has none but the loopback's.
  if (IsPrivate()) RunToEnd({"ip", "address", "add", "192.0.2.1/32", "dev", "lo"});
  const std::string device = "\n  connector: serialdev," + device_ + ",9600n82,local\n";
  WriteFile(LabPath("ser2net.yaml"),
            "%YAML 1.1\n---\nconnection: &raw\n  accepter: tcp,127.0.0.1,4001" + device +
                "connection: &telnet\n  accepter: telnet,tcp,127.0.0.1,4002" + device);
  Child server({"ser2net", "-n", "-c", LabPath("ser2net.yaml")});
  ASSERT_TRUE(Listens(4001)) << server.Errors();
  EXPECT_EQ(AskServer("127.0.0.1:4001").output, "instrument type 2\n");
  const Line slow;
  Child slowServer({"socat", "TCP-LISTEN:4003,bind=127.0.0.1,linger=0", slow.Device() + ",rawer"});
  const Child talker({"socat", "TCP-LISTEN:4004,bind=127.0.0.1", "SYSTEM:printf %0100d 0"});
  const Child mute({"socat", "TCP-LISTEN:4005,bind=127.0.0.1", "EXEC:true"});
  ASSERT_TRUE(Listens(4003) && Listens(4004) && Listens(4005));
  RunToEnd({"ip", "route", "add", "192.0.2.2", "dev", "lo"});
  Child lost({Program("qmx-console"), "tcp://192.0.2.2:1", "lcfg"});
  Child user({Program("qmx-console"), "tcp://127.0.0.1:4001", "watch", "1", "--every", "0.1"});
  ASSERT_TRUE(WaitFor([&] { return !user.Output().empty(); }));
  const std::string gone = " closed the connection: its line may be in use, or have failed.\n";
  const std::string ours = "The device server 127.0.0.1:400";
  const std::string refused =
      " cannot be reached: Connection refused. Nothing listens there: check the port's number.\n";
  std::map<std::string, std::string> rows = {
      {"127.0.0.1:4001", ours + "1 closed the connection, saying: Port already in use\n"},
      {"127.0.0.1:4002", ours + "2 speaks telnet: set this port of it to pass raw bytes.\n"},
      {"[::1]:65535", "[::1]:65535" + refused},
      {"127.0.0.1:4004", ours + "4 closed the connection, saying: " + std::string(80, '0') + "\n"},
      {"[127.0.0.1]:4005", "The device server [127.0.0.1]:4005" + gone},
  };
  for (const std::string name : {"nobody.invalid:1", "[]:1", "[::1:1"}) {
    rows[name] = name + " cannot be reached: Name or service not known.\n";
  }
  for (const std::string name : {"127.0.0.1", ":4001", "127.0.0.1:", "127.0.0.1:4001x",
                                 "127.0.0.1:004001", "127.0.0.1:65536"}) {
    rows[name] = "A device server is named tcp://HOST:PORT, not tcp://" + name + ".\n";
  }
  for (const auto& [name, told] : rows) {
    const Ended ended = AskServer(name);
    EXPECT_EQ(ended.status, told[0] == 'A' ? 1 : 2) << name;
    EXPECT_EQ(ended.errors, told);
  }
  // Cut off while it is used, by a server that ends and by one that goes in the middle of a reply.
  server.Signal(SIGTERM);
  EXPECT_EQ(user.Wait(), 2);
  EXPECT_EQ(user.Errors(), "The device server 127.0.0.1:4001" + gone);
  Child cut({Program("qmx-console"), "tcp://127.0.0.1:4003", "areg", "7"});
  EXPECT_EQ(slow.ReceiveUntil("\x03"), Request("4AREG K0 7"));
  slow.Send(Bytes("~<xFF><STX>4AREG 0"));
  EXPECT_EQ(slow.Receive(1, 300), "");
  slowServer.Signal(SIGKILL);
  EXPECT_EQ(cut.Wait(), 2);
  EXPECT_EQ(cut.Errors(), "The connection to 127.0.0.1:4003 is lost: Connection reset by peer.\n");
  if (!IsPrivate()) return;
  EXPECT_EQ(lost.Wait(), 2);
  EXPECT_EQ(lost.Errors(),
            "192.0.2.2:1 cannot be reached: Connection timed out. Check the address, the network, "
            "and that the server is on.\n");
}

}  // namespace
