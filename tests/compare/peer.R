# Rscript peer.R FOLDER: computes in R what FOLDER/columns.csv asks for, and writes FOLDER/answers.csv.
#
# columns.csv has a line per column: table, column, p as found, numbers of A and of B with blanks between, in order
# of time. An answer is not-a-number where R has none.
folder <- commandArgs(trailingOnly = TRUE)[1]
asked <- read.csv(file.path(folder, "columns.csv"), colClasses = "character")
numbers <- function(text) as.numeric(strsplit(text, " ")[[1]])

shift_test <- function(a, b) {
    answer <- c(p = NaN, shift = NaN, low = NaN, high = NaN)
    together <- c(a, b)
    large <- length(together) > 50
    if (length(a) < 6 || length(b) < 6 || length(unique(together)) == 1) return(answer)
    ties <- anyDuplicated(together) > 0
    if (large) {
        answer["p"] <- wilcox.test(b, a, exact = FALSE)$p.value
    } else if (!ties) {
        test <- suppressWarnings(wilcox.test(b, a, exact = TRUE, conf.int = TRUE))
        answer <- c(p = test$p.value, shift = unname(test$estimate), low = test$conf.int[1], high = test$conf.int[2])
        return(answer)
    }
    # With ties R turns to an approximation; the definitions stay.
    differences <- sort(outer(b, a, "-"))
    products <- length(differences)
    k <- max(1, qwilcox(0.025, length(a), length(b)))
    if (large) {
        deviation <- sqrt(products * (length(together) + 1) / 12)
        k <- floor(products / 2 + 0.5 - qnorm(0.975) * deviation)
    }
    answer["shift"] <- median(differences)
    answer["low"] <- differences[k]
    answer["high"] <- differences[products + 1 - k]
    answer
}

trend_test <- function(series) {
    if (length(series) < 6 || length(series) > 49 || anyDuplicated(series) > 0) return(NaN)
    # R takes an upper tail from 1, which costs digits; a lower one it has to the last.
    if (cor(seq_along(series), series, method = "kendall") > 0) series <- -series
    cor.test(seq_along(series), series, method = "kendall", exact = TRUE)$p.value
}

answers <- t(mapply(function(a, b) {
    a <- numbers(a)
    b <- numbers(b)
    c(shift_test(a, b), trendA = trend_test(a), trendB = trend_test(b))
}, asked$a, asked$b, USE.NAMES = FALSE))
adjusted <- ave(as.numeric(asked$p), asked$table, FUN = function(p) p.adjust(p, method = "BH"))
answers <- data.frame(asked[c("table", "column")], answers, adjusted = adjusted)
numeric <- sapply(answers, is.numeric)
answers[numeric] <- lapply(answers[numeric], function(x) sprintf("%.17g", x))
write.csv(answers, file.path(folder, "answers.csv"), row.names = FALSE, quote = FALSE)
