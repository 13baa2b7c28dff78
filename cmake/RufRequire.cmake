# ruf_require(<what> <debian package> <found>)
#
# Records a missing dependency of an optional part of the build; then
# ruf_require_check() stops the configuration with one line per missing
# package and the command that installs them all.
set_property(GLOBAL PROPERTY RUF_MISSING "")
set_property(GLOBAL PROPERTY RUF_MISSING_PACKAGES "")

function(ruf_require what package found)
  if(NOT found)
    set_property(GLOBAL APPEND PROPERTY RUF_MISSING "  ${what}: Debian package ${package}")
    set_property(GLOBAL APPEND PROPERTY RUF_MISSING_PACKAGES ${package})
  endif()
endfunction()

function(ruf_require_check part)
  get_property(missing GLOBAL PROPERTY RUF_MISSING)
  get_property(packages GLOBAL PROPERTY RUF_MISSING_PACKAGES)
  if(missing)
    list(REMOVE_DUPLICATES packages)
    list(JOIN missing "\n" lines)
    list(JOIN packages " " names)
    message(FATAL_ERROR "${part} needs packages that are not installed:\n${lines}\n"
                        "Install them with:\n  sudo apt-get install -y ${names}\n"
                        "(or configure without ${part})")
  endif()
endfunction()
