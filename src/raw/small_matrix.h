// Matrices of 3 or 4 rows and columns, as colours need them.
#pragma once

#include <array>
#include <cstddef>
#include <span>

namespace kestr {

template <size_t N>
using CVector = std::array<double, N>;

/// Values row by row.
template <size_t Rows, size_t Columns>
struct CMatrix {
    std::array<std::array<double, Columns>, Rows> rows{};

    constexpr std::array<double, Columns>& operator[](size_t row) { return rows[row]; }
    constexpr const std::array<double, Columns>& operator[](size_t row) const { return rows[row]; }
    friend constexpr bool operator==(const CMatrix&, const CMatrix&) = default;
};

/// The first values of a list, row by row; what the list lacks is 0.
template <size_t Rows, size_t Columns>
constexpr CMatrix<Rows, Columns> MatrixFrom(std::span<const double> values) {
    CMatrix<Rows, Columns> matrix;
    for (size_t i = 0; i < Rows * Columns && i < values.size(); ++i) {
        matrix[i / Columns][i % Columns] = values[i];
    }
    return matrix;
}

template <size_t N>
constexpr CMatrix<N, N> Diagonal(const CVector<N>& values) {
    CMatrix<N, N> matrix;
    for (size_t i = 0; i < N; ++i) matrix[i][i] = values[i];
    return matrix;
}

template <size_t N>
constexpr CVector<N> AllOf(double value) {
    CVector<N> vector{};
    vector.fill(value);
    return vector;
}

template <size_t Rows, size_t Columns>
constexpr CMatrix<Columns, Rows> Transposed(const CMatrix<Rows, Columns>& matrix) {
    CMatrix<Columns, Rows> result;
    for (size_t row = 0; row < Rows; ++row) {
        for (size_t column = 0; column < Columns; ++column) {
            result[column][row] = matrix[row][column];
        }
    }
    return result;
}

template <size_t Rows, size_t Columns>
constexpr CMatrix<Rows, Columns> operator+(const CMatrix<Rows, Columns>& a,
                                           const CMatrix<Rows, Columns>& b) {
    CMatrix<Rows, Columns> sum = a;
    for (size_t row = 0; row < Rows; ++row) {
        for (size_t column = 0; column < Columns; ++column) sum[row][column] += b[row][column];
    }
    return sum;
}

template <size_t Rows, size_t Columns>
constexpr CMatrix<Rows, Columns> operator*(double factor, const CMatrix<Rows, Columns>& matrix) {
    CMatrix<Rows, Columns> product = matrix;
    for (auto& row : product.rows) {
        for (double& value : row) value *= factor;
    }
    return product;
}

template <size_t Rows, size_t Inner, size_t Columns>
constexpr CMatrix<Rows, Columns> operator*(const CMatrix<Rows, Inner>& a,
                                           const CMatrix<Inner, Columns>& b) {
    CMatrix<Rows, Columns> product;
    for (size_t row = 0; row < Rows; ++row) {
        for (size_t column = 0; column < Columns; ++column) {
            for (size_t i = 0; i < Inner; ++i) product[row][column] += a[row][i] * b[i][column];
        }
    }
    return product;
}

template <size_t Rows, size_t Columns>
constexpr CVector<Rows> operator*(const CMatrix<Rows, Columns>& matrix,
                                  const CVector<Columns>& vector) {
    CVector<Rows> product{};
    for (size_t row = 0; row < Rows; ++row) {
        for (size_t i = 0; i < Columns; ++i) product[row] += matrix[row][i] * vector[i];
    }
    return product;
}

/// By cofactors. Infinities and what is no number when the matrix cannot be inverted.
constexpr CMatrix<3, 3> Inverse(const CMatrix<3, 3>& m) {
    CMatrix<3, 3> cofactors;
    for (size_t row = 0; row < 3; ++row) {
        for (size_t column = 0; column < 3; ++column) {
            const size_t r1 = (row + 1) % 3, r2 = (row + 2) % 3;
            const size_t c1 = (column + 1) % 3, c2 = (column + 2) % 3;
            cofactors[row][column] = m[r1][c1] * m[r2][c2] - m[r1][c2] * m[r2][c1];
        }
    }
    double determinant = 0;
    for (size_t i = 0; i < 3; ++i) determinant += m[0][i] * cofactors[0][i];
    CMatrix<3, 3> inverse = Transposed(cofactors);
    for (auto& row : inverse.rows) {
        for (double& value : row) value /= determinant;
    }
    return inverse;
}

/// (R M)^-1 R: back from four values to the three that they came from, weighed by `reduction` R.
constexpr CMatrix<3, 4> PseudoInverse(const CMatrix<4, 3>& m, const CMatrix<3, 4>& reduction) {
    return Inverse(reduction * m) * reduction;
}

/// The same with the transposed matrix for R: the least squares.
constexpr CMatrix<3, 4> PseudoInverse(const CMatrix<4, 3>& m) {
    return PseudoInverse(m, Transposed(m));
}

}  // namespace kestr
