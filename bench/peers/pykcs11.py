#!/usr/bin/python3
"""PyKCS11 as one peer among others; see peer.c for how it is called and what it prints."""
import os
import sys
import time

import PyKCS11
from PyKCS11 import CKA_CLASS, CKA_ID, CKA_LABEL, CKA_VALUE, CKO_CERTIFICATE, CKO_PRIVATE_KEY

DIGEST_INFO = bytes.fromhex("3031300d060960864801650304020105000420") + b"\x42" * 32
SIGNATURE = PyKCS11.Mechanism(PyKCS11.CKM_RSA_PKCS, None)


def list_readers(module):
    for slot in module.getSlotList():
        token = module.getTokenInfo(slot)
        print(module.getSlotInfo(slot).slotDescription, token.label, token.serialNumber)


def sign(session):
    key = session.findObjects([(CKA_CLASS, CKO_PRIVATE_KEY), (CKA_ID, (0x45, 0x01))])[0]
    return bytes(session.sign(key, DIGEST_INFO, SIGNATURE)).hex().upper()


def read_certificates(session, types):
    bytes_read = 0
    for certificate in session.findObjects([(CKA_CLASS, CKO_CERTIFICATE)]):
        bytes_read += sum(len(value) for value in session.getAttributeValue(certificate, types))
    return bytes_read


JOBS = {
    "sign": sign,
    "values": lambda session: read_certificates(session, [CKA_VALUE]),
    "objects": lambda session: read_certificates(session, [CKA_LABEL, CKA_ID, CKA_VALUE]),
}


def main(module_file, job, count=0):
    module = PyKCS11.PyKCS11Lib()
    module.load(module_file)
    if job == "readers":
        list_readers(module)
        return
    slot = module.getSlotList(tokenPresent=True)[0]
    session = module.openSession(slot, PyKCS11.CKF_SERIAL_SESSION | PyKCS11.CKF_RW_SESSION)
    if job == "sign":
        session.login(os.environ["PEER_PIN"])
    print("result", JOBS[job](session), sep="\t")
    for _ in range(int(count)):
        begin = time.process_time()
        JOBS[job](session)
        print("time", f"{(time.process_time() - begin) * 1e6:.1f}", sep="\t")
    session.closeSession()


main(*sys.argv[1:])
