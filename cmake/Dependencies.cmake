# Run-time libraries the portable library links. Readers that need one add
# it here.
if(WIN32)
  # Statically linked so the programs need no DLLs beside them.
  target_link_options(vantirel INTERFACE -static -static-libgcc -static-libstdc++)
endif()
