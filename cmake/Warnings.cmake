# One warning policy for every target of the project.
add_compile_options(-Wall -Wextra -Werror -Werror=format-security)
