# Signs a program with a certificate that is made for it and thrown away:
#   cmake -DSOURCE=a.exe -DTARGET=b.exe -DSIGNER=name -DOPENSSL=... -DOSSLSIGNCODE=...
#         -P SignProgram.cmake
set(key "${TARGET}.key.pem")
set(certificate "${TARGET}.cert.pem")
file(REMOVE "${TARGET}")
execute_process(
  COMMAND "${OPENSSL}" req -x509 -newkey rsa:2048 -nodes -keyout "${key}" -out "${certificate}"
          -days 3650 -subj "/CN=${SIGNER}" -addext extendedKeyUsage=codeSigning
          -addext keyUsage=digitalSignature
  OUTPUT_QUIET ERROR_VARIABLE errors RESULT_VARIABLE failed)
if(NOT failed)
  execute_process(
    COMMAND "${OSSLSIGNCODE}" sign -certs "${certificate}" -key "${key}" -h sha256
            -in "${SOURCE}" -out "${TARGET}"
    OUTPUT_QUIET ERROR_VARIABLE errors RESULT_VARIABLE failed)
endif()
file(REMOVE "${key}" "${certificate}")
if(failed)
  message(FATAL_ERROR "signing ${TARGET}: ${errors}")
endif()
