! A Fortran caller through the module ruf_interval, which gives every call an
! explicit interface: gfortran appends the underscore and passes each
! character argument's length hidden after the declared arguments. Prints "N passed, M failed"; stops with
! status 1 on a failure.
program fortran_caller
  use, intrinsic :: iso_c_binding, only: c_double, c_int
  use ruf_interval
  implicit none

  type(ruf_di) :: a(2, 2), b(2, 1), r, x, y
  type(ruf_zr) :: za(1, 1), zb(1, 1)
  real(c_double) :: eps
  integer(c_int) :: n, nrhs, lda, ldb, info
  integer :: passed = 0, failed = 0

  ! di_di_mult: [-1, 2] * [-3, 4] = [-4, 8]
  x = ruf_di(-1d0, 2d0)
  y = ruf_di(-3d0, 4d0)
  call di_di_mult(r, x, y)
  call check(r%inf == -4d0 .and. r%sup == 8d0, 'di_di_mult')

  ! ditrtrs, lower triangle [[2, 0], [1, 4]], b = (2, 3): x = (1, 0.5) exactly
  n = 2; nrhs = 1; lda = 2; ldb = 2
  a(1, 1) = ruf_di(2d0, 2d0); a(2, 1) = ruf_di(1d0, 1d0)
  a(1, 2) = ruf_di(0d0, 0d0); a(2, 2) = ruf_di(4d0, 4d0)
  b(1, 1) = ruf_di(2d0, 2d0); b(2, 1) = ruf_di(3d0, 3d0)
  call ditrtrs('L', 'N', 'N', n, nrhs, a, lda, b, ldb, info)
  call check(info == 0 .and. b(1, 1)%inf == 1d0 .and. b(1, 1)%sup == 1d0 &
             .and. b(2, 1)%inf == 0.5d0 .and. b(2, 1)%sup == 0.5d0, 'ditrtrs')

  ! digegas on [[4, 1], [1, 3]] widened by 1e-10: contains (1/11, 7/11)
  a(1, 1) = ruf_di(4d0 - 1d-10, 4d0 + 1d-10); a(2, 1) = ruf_di(1d0, 1d0)
  a(1, 2) = ruf_di(1d0, 1d0); a(2, 2) = ruf_di(3d0 - 1d-10, 3d0 + 1d-10)
  b(1, 1) = ruf_di(1d0, 1d0); b(2, 1) = ruf_di(2d0, 2d0)
  call digegas('N', n, nrhs, a, lda, b, ldb, info)
  call check(info == 0 .and. b(1, 1)%inf < 1d0 / 11 .and. 1d0 / 11 < b(1, 1)%sup &
             .and. b(2, 1)%inf < 7d0 / 11 .and. 7d0 / 11 < b(2, 1)%sup &
             .and. b(1, 1)%sup - b(1, 1)%inf < 1d-8, 'digegas')

  ! zrgekws, ([3.9, 4.1] + [0.9, 1.1]i) x = 1 + i: contains (1 + i)/(4 + i) = (5 + 3i)/17
  n = 1; lda = 1; ldb = 1; eps = 1d-10
  za(1, 1) = ruf_zr(ruf_di(3.9d0, 4.1d0), ruf_di(0.9d0, 1.1d0))
  zb(1, 1) = ruf_zr(ruf_di(1d0, 1d0), ruf_di(1d0, 1d0))
  call zrgekws('N', n, nrhs, za, lda, zb, ldb, eps, info)
  call check(info == 0 .and. zb(1, 1)%re%inf < 5d0 / 17 .and. 5d0 / 17 < zb(1, 1)%re%sup &
             .and. zb(1, 1)%im%inf < 3d0 / 17 .and. 3d0 / 17 < zb(1, 1)%im%sup &
             .and. zb(1, 1)%re%sup - zb(1, 1)%re%inf < 0.1d0, 'zrgekws')
  n = 2; lda = 2; ldb = 2

  ! A bad option reaches the error handler, not a crash: info = -1.
  call digegas('X', n, nrhs, a, lda, b, ldb, info)
  call check(info == -1, 'digegas bad option')

  print '(i0, a, i0, a)', passed, ' passed, ', failed, ' failed'
  if (failed > 0) stop 1

contains

  subroutine check(ok, what)
    logical, intent(in) :: ok
    character(*), intent(in) :: what
    if (ok) then
      passed = passed + 1
    else
      failed = failed + 1
      print '(2a)', 'FAILED: ', what
    end if
  end subroutine check

end program fortran_caller

! The LAPACK handler would stop the program; this one only reports.
subroutine xerbla(name, info)
  character(*), intent(in) :: name
  integer, intent(in) :: info
  print '(3a, i0)', 'xerbla: ', name, ' argument ', info
end subroutine xerbla
