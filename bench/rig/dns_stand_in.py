"""dns_stand_in.py ADDRESS: answers each question for an A record with 198.51.100.1, any other with nothing."""
import socket
import struct
import sys

RECORD = struct.pack("!HHHIH4B", 0xC00C, 1, 1, 60, 4, 198, 51, 100, 1)

server = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)
server.bind((sys.argv[1], 53))
while True:
    query, client = server.recvfrom(512)
    end = query.index(0, 12) + 5
    wanted = query[end - 4:end - 2] == b"\0\1"
    head = query[:2] + struct.pack("!HHHHH", 0x8180, 1, int(wanted), 0, 0)
    server.sendto(head + query[12:end] + (RECORD if wanted else b""), client)
