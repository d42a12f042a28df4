# The component module.
