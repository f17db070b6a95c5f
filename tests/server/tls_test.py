#!/usr/bin/env python3
"""TLS: a certification authority made for the test, the server's certificates, what clients make of them."""
import http.client
import pathlib
import shutil
import signal
import socket
import ssl
import subprocess
import unittest

import harness
from remote_test import RemoteTest


def openssl(*words):
    subprocess.run(["openssl", *words], check=True, capture_output=True)


class Authority:
    """A certification authority in a folder."""

    def __init__(self, folder):
        self.folder = pathlib.Path(folder)
        self.certificate = self.folder / "ca.pem"
        openssl("req", "-x509", "-newkey", "ec", "-pkeyopt", "ec_paramgen_curve:prime256v1", "-nodes", "-days", "2",
                "-subj", "/CN=an authority", "-keyout", self.folder / "ca.key", "-out", self.certificate)

    def issue(self, name, names="IP:127.0.0.1", days="2"):
        """The paths of a certificate for these names and of its key."""
        certificate, key, request = [self.folder / f"{name}.{kind}" for kind in ("pem", "key", "csr")]
        extensions = self.folder / f"{name}.ext"
        extensions.write_text(f"subjectAltName={names}\n")
        openssl("req", "-newkey", "ec", "-pkeyopt", "ec_paramgen_curve:prime256v1", "-nodes", "-subj", f"/CN={name}",
                "-keyout", key, "-out", request)
        openssl("x509", "-req", "-in", request, "-CA", self.certificate, "-CAkey", self.folder / "ca.key",
                "-CAcreateserial", "-days", days, "-extfile", extensions, "-out", certificate)
        return certificate, key

    def context(self):
        return ssl.create_default_context(cafile=self.certificate)


@unittest.skipUnless(shutil.which("openssl"), "openssl makes the certificates")
class Tls(RemoteTest):
    def setUp(self):
        super().setUp()
        self.authority = Authority(self.folder)

    def options_of(self, certificate):
        return "--tls-certificate", str(certificate[0]), "--tls-key", str(certificate[1])

    def start_tls(self, certificate=None):
        self.start(*self.options_of(certificate or self.authority.issue("server")))
        return harness.Client(self.server.port, self.server.token, self.authority.context())

    def solve_remotely(self, trusted):
        """The response code of a solve of the program, which trusts that authority."""
        solve = (f"-solve:remote=https://127.0.0.1:{self.server.port},remote-access-token={self.server.token},"
                 "res=res,msg=msg")
        self.run_remotely("-read", str(harness.EXAMPLES / "workshop.mps"), solve, "-write-solution", "sol",
                          environment={"VORLAN_REMOTE_CA_FILE": str(trusted)})
        return self.text("res")

    def test_jobs_events_and_uploads(self):
        client = self.start_tls()
        job_id = client.submitted(harness.small_model(), name="w.mps")
        events = list(client.events(f"/v1/jobs/{job_id}/events"))
        self.assertEqual(events[-1][0], "end")
        self.assertEqual(client.job(job_id)["outcome"], "ok")
        large = client.submitted(5_000_000 * b"x")
        self.assertEqual(client.await_end(large)["problem"]["bytes"], 5_000_000)

    def test_many_requests_on_one_connection(self):
        client = self.start_tls()
        connection = client.connection(harness.PATIENCE)
        for _ in range(20):
            connection.request("GET", "/healthz")
            self.assertEqual(harness.Answer(connection.getresponse()).status, 200)
        connection.close()
        # Two at once: the second is within TLS before anybody waits for it.
        with socket.create_connection(("127.0.0.1", self.server.port), harness.PATIENCE) as wire:
            with client.tls.wrap_socket(wire, server_hostname="127.0.0.1") as secure:
                secure.sendall(2 * b"GET /healthz HTTP/1.1\r\nHost: x\r\n\r\n")
                text = b""
                while text.count(b"alive") < 2:
                    piece = secure.recv(65536)
                    self.assertTrue(piece, text)
                    text += piece

    def test_a_remote_solve_checks_the_certificate(self):
        self.start_tls()
        self.assertEqual(self.solve_remotely(self.authority.certificate), "VLN_RES_OK")
        self.assertIn("optimal", self.text("sol").lower())
        (self.folder / "other").mkdir()
        other = Authority(self.folder / "other")
        self.assertEqual(self.solve_remotely(other.certificate), "VLN_RES_ERR_SERVER_CERTIFICATE")
        self.assertNotIn(self.server.token, self.text("msg"))

    def test_a_remote_solve_checks_the_name(self):
        self.start_tls(self.authority.issue("elsewhere", "DNS:elsewhere.example"))
        self.assertEqual(self.solve_remotely(self.authority.certificate), "VLN_RES_ERR_SERVER_CERTIFICATE")

    def test_sighup_reads_the_certificate_again(self):
        certificate, key = self.authority.issue("server")
        client = self.start_tls((certificate, key))
        held = client.connection(harness.PATIENCE)
        held.request("GET", "/healthz")
        held.getresponse().read()
        first = self.shown_certificate()
        renewed = self.authority.issue("renewed")
        for new, old in zip(renewed, (certificate, key)):
            shutil.copy(new, old)
        self.server.process.send_signal(signal.SIGHUP)
        harness.wait_until(lambda: self.shown_certificate() != first, "the new certificate")
        second = self.shown_certificate()
        certificate.write_text("nonsense")
        self.server.process.send_signal(signal.SIGHUP)
        log = self.folder / "data.log"
        harness.wait_until(lambda: "reload failed" in log.read_text(), "the failure")
        self.assertEqual(self.shown_certificate(), second)
        # The connection from before goes on.
        held.request("GET", "/healthz")
        self.assertEqual(held.getresponse().status, 200)
        held.close()

    def shown_certificate(self):
        with socket.create_connection(("127.0.0.1", self.server.port), harness.PATIENCE) as wire:
            with self.authority.context().wrap_socket(wire, server_hostname="127.0.0.1") as secure:
                return secure.getpeercert(binary_form=True)

    def test_clients_without_tls_or_without_a_word_harm_nobody(self):
        client = self.start_tls()
        silent = [socket.create_connection(("127.0.0.1", self.server.port)) for _ in range(20)]
        plain = harness.Client(self.server.port, client.token)
        with self.assertRaises((http.client.HTTPException, OSError)):
            plain.get("/healthz")
        for version in (ssl.TLSVersion.TLSv1, ssl.TLSVersion.TLSv1_1):
            context = self.authority.context()
            context.minimum_version = context.maximum_version = version
            with self.assertRaises(OSError):
                harness.Client(self.server.port, client.token, context).get("/healthz")
        self.assertEqual(client.get("/healthz").status, 200)
        for wire in silent:
            wire.close()

    def test_beyond_this_machine_with_tls_or_by_order_only(self):
        # An address of documents, which no machine has.
        words = [harness.SERVER, "--data", str(self.data), "--worker", harness.PROGRAM, "--listen", "192.0.2.1"]
        tls = self.options_of(self.authority.issue("server"))
        for options, message in (([], "unencrypted"), (["--insecure"], "cannot listen at 192.0.2.1"),
                                 (tls, "cannot listen at 192.0.2.1")):
            result = subprocess.run([*words, *options], capture_output=True, text=True, check=False)
            self.assertEqual(result.returncode, 1)
            self.assertIn(message, result.stderr)

    def test_files_that_do_not_fit_are_named(self):
        server, other = self.authority.issue("server"), self.authority.issue("other")
        for options, message in ((self.options_of((server[0], other[1])), "cannot use the key"),
                                 (self.options_of((server[0], "/nonexistent")), "cannot use the key '/nonexistent'"),
                                 (self.options_of(("/nonexistent", server[1])), "cannot use the certificate"),
                                 (["--tls-key", str(server[1])], "belong together")):
            result = subprocess.run([harness.SERVER, "--data", str(self.data), "--port", "0", "--worker",
                                     harness.PROGRAM, *options], capture_output=True, text=True, check=False)
            self.assertEqual((result.returncode, result.stdout), (1, ""))
            self.assertIn(message, result.stderr)


if __name__ == "__main__":
    harness.main()
