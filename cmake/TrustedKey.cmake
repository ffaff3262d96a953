# The root of trust for personalisation scripts, as a C++ source.

set(ZELMOP15_TRUSTED_KEY "" CACHE FILEPATH
  "DER RSAPublicKey (2048 bits) that certifies the signers of personalisation scripts; empty for the development root")

# zelmo_trusted_key(TEMPLATE OUTPUT): fills the octets of the key into the template, and sets ZELMOP15_DEVELOPMENT_ROOT.
function(zelmo_trusted_key template output)
  set(file "${ZELMOP15_TRUSTED_KEY}")
  set(is_development OFF)
  if(NOT file)
    set(file ${PROJECT_SOURCE_DIR}/packaging/dev-root/dev-root.public.der)
    set(is_development ON)
    message(WARNING "Built with the DEVELOPMENT ROOT: its private key is public, so anybody can sign personalisation "
      "scripts that this build runs. For real use configure with -DZELMOP15_TRUSTED_KEY=FILE.")
  endif()
  set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${file})
  file(READ ${file} octets HEX)
  if(NOT octets MATCHES "^308201[01][0-9a-f]0282010100")
    message(FATAL_ERROR "${file} is not the DER of an RSAPublicKey with a modulus of 2048 bits.")
  endif()
  string(REGEX REPLACE "(..)" "0x\\1, " ZELMOP15_TRUSTED_KEY_OCTETS "${octets}")
  get_filename_component(ZELMOP15_TRUSTED_KEY_NAME ${file} NAME)
  configure_file(${template} ${output} @ONLY)
  set(ZELMOP15_DEVELOPMENT_ROOT ${is_development} PARENT_SCOPE)
endfunction()
