// A small fixed-size matrix. The engine uses only the column vector of three doubles: a plain
// value of three contiguous doubles in row order and nothing else, so that it can be copied as
// bytes and stored in a record item of the vector type.
#pragma once

#include <cstddef>

// A Rows x Cols matrix of T held by value, row after row, zero when default-constructed.
template <size_t Rows, size_t Cols, typename T>
class BrelonMatrix {
public:
    BrelonMatrix() : m_Data{} {}

    T& operator()(size_t row, size_t col = 0) { return m_Data[row * Cols + col]; }
    const T& operator()(size_t row, size_t col = 0) const { return m_Data[row * Cols + col]; }
    T& operator[](size_t index) { return m_Data[index]; }
    const T& operator[](size_t index) const { return m_Data[index]; }

    T* Data() { return m_Data; }
    const T* Data() const { return m_Data; }

    bool operator==(const BrelonMatrix& other) const {
        for (size_t i = 0; i < Rows * Cols; ++i) {
            if (!(m_Data[i] == other.m_Data[i])) {
                return false;
            }
        }
        return true;
    }
    bool operator!=(const BrelonMatrix& other) const { return !(*this == other); }

private:
    T m_Data[Rows * Cols];
};

// The column vector of three doubles.
template <>
class BrelonMatrix<3, 1, double> {
public:
    BrelonMatrix() : m_Data{0.0, 0.0, 0.0} {}
    BrelonMatrix(double x, double y, double z) : m_Data{x, y, z} {}

    double& operator()(size_t row) { return m_Data[row]; }
    const double& operator()(size_t row) const { return m_Data[row]; }
    double& operator[](size_t row) { return m_Data[row]; }
    const double& operator[](size_t row) const { return m_Data[row]; }

    double* Data() { return m_Data; }
    const double* Data() const { return m_Data; }

    // Exact comparison: a NaN component makes two vectors different.
    bool operator==(const BrelonMatrix& other) const {
        return m_Data[0] == other.m_Data[0] && m_Data[1] == other.m_Data[1] &&
               m_Data[2] == other.m_Data[2];
    }
    bool operator!=(const BrelonMatrix& other) const { return !(*this == other); }

private:
    double m_Data[3];
};

static_assert(sizeof(BrelonMatrix<3, 1, double>) == 3 * sizeof(double),
              "a 3-vector is three contiguous doubles and nothing else");
