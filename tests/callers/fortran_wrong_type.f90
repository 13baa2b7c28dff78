! Must not compile: the module's interface wants type(ruf_di) operands, and a
! double precision number is not one. Without the module gfortran would pass
! the number's address and the library would read past it.
program fortran_wrong_type
  use ruf_interval
  implicit none
  type(ruf_di) :: r, y
  y = ruf_di(1d0, 2d0)
  call di_di_mult(r, 1d0, y)
end program fortran_wrong_type
