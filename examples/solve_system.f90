! An interval linear system from Fortran, through the module ruf_interval:
! a 3x3 matrix known to within 1e-3, solved by Gaussian elimination (digegas)
! and by the fast verified solver (digevsv), whose info = 0 proves that the
! box holds every solution.
program solve_system
  use, intrinsic :: iso_c_binding, only: c_double, c_int
  use ruf_interval
  implicit none

  integer(c_int), parameter :: n = 3
  real(c_double), parameter :: mid(n, n) = reshape([4d0, 1d0, 0d0, 1d0, 5d0, 2d0, &
                                                    0d0, 2d0, 6d0], [n, n])
  type(ruf_di) :: a(n, n), b(n, 1), b2(n, 1)
  real(c_double) :: approx(n)
  integer(c_int) :: info, i, j

  do j = 1, n
    do i = 1, n
      a(i, j) = ruf_di(mid(i, j) - 1d-3, mid(i, j) + 1d-3)
    end do
  end do
  b = ruf_di(1d0, 1d0)
  b2 = b

  call digegas('N', n, 1, a, n, b, n, info)
  print '(a, i0)', 'digegas, info = ', info
  do i = 1, n
    print '(a, i0, a, f15.12, a, f15.12, a)', '  x', i, ' in [', b(i, 1)%inf, ', ', b(i, 1)%sup, ']'
  end do

  call digevsv('N', n, 1, a, n, b2, n, approx, n, info)
  print '(a, i0, a)', 'digevsv, info = ', info, trim(merge(' (verified)    ', ' (not verified)', info == 0))
  do i = 1, n
    print '(a, i0, a, f15.12, a, f15.12, a, f15.12)', '  x', i, ' in [', b2(i, 1)%inf, ', ', &
      b2(i, 1)%sup, '], approximately ', approx(i)
  end do
  if (info /= 0) stop 1
end program solve_system
