# Copies the status icons from FROM into the folder TO, outside of any theme: some panels look up an item's icons in a
# theme that has this folder alone and no index. Each is there under two names: Cinnamon
# shows nothing for a symbolic icon that is not the theme's, and takes a symbolic one wherever there is "NAME-symbolic".
file(GLOB icons "${FROM}/*-symbolic.svg")
foreach(icon IN LISTS icons)
  get_filename_component(symbolic "${icon}" NAME)
  string(REPLACE "-symbolic" "-plain" plain "${symbolic}")
  foreach(name "${symbolic}" "${plain}")
    configure_file("${icon}" "${TO}/${name}" COPYONLY)
  endforeach()
endforeach()
