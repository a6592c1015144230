// pkcs11js as one peer among others; see peer.c for how it is called and what it prints.
const p11 = require("pkcs11js");

const library = new p11.PKCS11();

const kDigestInfo = Buffer.from("3031300d060960864801650304020105000420" + "42".repeat(32), "hex");
const kMostSignatureBytes = 512;

function listReaders() {
  for (const slot of library.C_GetSlotList(false)) {
    const token = library.C_GetTokenInfo(slot);
    console.log(library.C_GetSlotInfo(slot).slotDescription, token.label, token.serialNumber);
  }
}

function findKey(session) {
  library.C_FindObjectsInit(session, [
    { type: p11.CKA_CLASS, value: p11.CKO_PRIVATE_KEY },
    { type: p11.CKA_ID, value: Buffer.from([0x45, 0x01]) },
  ]);
  const key = library.C_FindObjects(session);
  library.C_FindObjectsFinal(session);
  return key;
}

function sign(session) {
  library.C_SignInit(session, { mechanism: p11.CKM_RSA_PKCS }, findKey(session));
  return library.C_Sign(session, kDigestInfo, Buffer.alloc(kMostSignatureBytes));
}

function readCertificates(session, types) {
  let bytes = 0;
  library.C_FindObjectsInit(session, [{ type: p11.CKA_CLASS, value: p11.CKO_CERTIFICATE }]);
  for (let object = library.C_FindObjects(session); object; object = library.C_FindObjects(session)) {
    for (const attribute of library.C_GetAttributeValue(session, object, types.map((type) => ({ type })))) {
      bytes += attribute.value.length;
    }
  }
  library.C_FindObjectsFinal(session);
  return bytes;
}

const kJobs = {
  sign: (session) => sign(session).toString("hex").toUpperCase(),
  values: (session) => readCertificates(session, [p11.CKA_VALUE]),
  objects: (session) => readCertificates(session, [p11.CKA_LABEL, p11.CKA_ID, p11.CKA_VALUE]),
};

// All threads of the process: its garbage collector works in one of its own.
function microseconds() {
  const usage = process.cpuUsage();
  return usage.user + usage.system;
}

function doTimes(job, count) {
  const session = library.C_OpenSession(library.C_GetSlotList(true)[0], p11.CKF_SERIAL_SESSION | p11.CKF_RW_SESSION);
  if (job === "sign") {
    library.C_Login(session, p11.CKU_USER, process.env.PEER_PIN);
  }
  console.log(`result\t${kJobs[job](session)}`);
  const times = [];
  for (let i = 0; i < count; ++i) {
    const begin = microseconds();
    kJobs[job](session);
    times.push(microseconds() - begin);
  }
  times.forEach((time) => console.log(`time\t${time}`));
  library.C_CloseSession(session);
}

const [moduleFile, job, count] = process.argv.slice(2);
library.load(moduleFile);
library.C_Initialize();
if (job === "readers") {
  listReaders();
} else {
  doTimes(job, Number(count ?? 0));
}
library.C_Finalize();
