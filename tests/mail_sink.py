# SPDX-License-Identifier: MIT
"""Takes one mail by SMTP on a free port of the loopback, which it prints, reads it back with
Python's email package, and writes what it found to files in the folder that it is given."""
import asyncio
import email
import email.policy
import pathlib
import sys

from aiosmtpd.smtp import SMTP

folder = pathlib.Path(sys.argv[1])


class Sink:
    async def handle_DATA(self, server, session, envelope):
        mail = email.message_from_bytes(envelope.content, policy=email.policy.default)
        body, attachment = mail.iter_parts()
        found = {
            "recipients": " ".join(envelope.rcpt_tos),
            "to": mail["To"],
            "from": mail["From"],
            "subject": mail["Subject"],
            "body": body.get_content(),
            "name": attachment.get_filename(),
        }
        for name, text in found.items():
            (folder / name).write_bytes(str(text).encode())
        (folder / "attachment").write_bytes(attachment.get_content())
        return "250 OK"


async def main():
    ended = asyncio.Event()

    class Server(SMTP):
        def connection_lost(self, error):
            super().connection_lost(error)
            ended.set()

    server = await asyncio.get_running_loop().create_server(
        lambda: Server(Sink(), hostname="localhost"), "127.0.0.1", 0)
    print(server.sockets[0].getsockname()[1], flush=True)
    # A client that never comes leaves no sink behind.
    await asyncio.wait_for(ended.wait(), 120)


asyncio.run(main())
