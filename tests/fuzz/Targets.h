#pragma once

#include <cstddef>
#include <cstdint>

// What is fuzzed, one function each in a source file of its name. Each takes any bytes, returns when all is well and
// ends the process when something does not hold. The same functions replay the kept inputs in the test program.

namespace Fuzz {

using Target = void(const std::uint8_t* data, std::size_t size);

Target argument;       ///< the host's ID=VALUE
Target base64;         ///< decoding and encoding against a plain model
Target batch;          ///< the plan and the list of a batch
Target format;         ///< the wide formatter against printf
Target hexadecimal;    ///< as base64
Target job;            ///< the host's job reader and its steps
Target library;        ///< the headers of ELF and PE files
Target log;            ///< what the log library writes: every line is JSON and says what was logged
Target parametervalue; ///< getValueFromEncoding
Target pkcs8;          ///< private keys
Target play;           ///< random operations through the exported functions on a module with random answers
Target record;         ///< the reader of records of calls
Target replay;         ///< any calls answered from any record
Target timeline;       ///< the page, the picture and the tables of any record and trace
Target trace;          ///< the reader of traces
Target tstring;        ///< TString against std::wstring
Target uri;            ///< pkcs11: URIs
Target utf8;           ///< UTF-8 and wide text against a plain model
Target vector;         ///< Vector against std::vector
Target version;        ///< version information in ELF files
Target x509;           ///< certificates, keys, subjects and alternative names

} // namespace Fuzz
